// zorfp-sandbox: the local fingerprint service as a program.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "profile_tool/operator_profile.h"
#include "sandbox/fault_text.h"
#include "sandbox/inspector/inspector.h"
#include "sandbox/log_lines.h"
#include "sandbox/profile_words.h"
#include "sandbox/sandbox_service.h"
#include "support/json_codec.h"

namespace {

using zor::sandbox::Fault;
using zor::sandbox::Handshake;
using zor::sandbox::Inspector;
using zor::sandbox::Received;
using zor::sandbox::SandboxService;
using zor::sandbox::SandboxSettings;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr std::uint16_t kDefaultPort = 8443;
constexpr std::int64_t kMaxSeconds = 1'000'000'000'000;

struct Arguments {
  SandboxSettings settings;
  std::vector<Fault> faults;
  std::string logFile;
  std::string readyFile;
  std::uint16_t pagePort = 0;
};

// Options that the parser only collects as texts.
struct Texts {
  std::string profileFile;
  std::string stateFolder;
  std::vector<std::string> faults;
  std::vector<std::string> bundleVersions;
};

int fail(const std::string& message) {
  std::cerr << "zorfp-sandbox: " << message << "\n";
  return kExitFailure;
}

// Both lists are "NAME=VALUE" texts from the command line. Returns what is not understood.
std::string readLists(const std::vector<std::string>& faults,
                      const std::vector<std::string>& bundleVersions, Arguments& arguments) {
  std::string problem;
  for (const std::string& text : faults) {
    const auto fault = zor::sandbox::readFault(text, problem);
    if (!fault) return "--fault: " + problem;
    arguments.faults.push_back(*fault);
  }
  for (const std::string& text : bundleVersions) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) return "--bundle-version: not ID=VERSION: " + text;
    arguments.settings.bundleVersions[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return "";
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ",") + text;
  return all;
}

std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char letter : text)
    quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return quoted + "'";
}

// Creates the file, if there is none, readable by its owner only.
void makePrivate(const std::filesystem::path& path) {
  constexpr mode_t kOwnerOnly = 0600;
  const int made = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
  if (made >= 0) ::close(made);
}

// A reader sees either no file or the whole file; only its owner may read it.
bool writeWhole(const std::filesystem::path& path, const std::string& content) {
  const std::filesystem::path unfinished = path.string() + ".new";
  ::unlink(unfinished.c_str());
  makePrivate(unfinished);
  std::ofstream file(unfinished, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(unfinished, path, error);
  return file && !error;
}

std::string environmentLines(const SandboxService& service) {
  return "export SSL_CERT_FILE=" + shellQuoted(service.caFile().string()) +
         "\nexport ZORFP_CONNECT_TO=" + shellQuoted(joined(service.connectTo())) + "\n";
}

std::string readyText(const SandboxService& service, const Inspector& inspector) {
  const auto ready = zor::ZORValue::dictionary({{"port", service.port()},
                                                {"ca_file", service.caFile().string()},
                                                {"connect_to", service.connectTo()},
                                                {"page", inspector.url()}});
  return zor::jsonForDisplay(ready) + "\n";
}

void greet(const SandboxService& service, const SandboxSettings& settings,
           const std::filesystem::path& environmentFile, const std::string& page) {
  if (service.portForEachHost()) {
    std::cout << "Listening on 127.0.0.1, on a port for each name and address of\n";
  } else {
    std::cout << "Listening on port " << service.port() << " of\n";
  }
  std::cout << "  names             " << joined(settings.nameAddresses) << "\n"
            << "  bootstrap         " << joined(settings.bootstrapAddresses) << "\n"
            << "  query             " << joined(settings.queryAddresses) << "\n"
            << "  address           " << joined(settings.serviceAddresses) << "\n"
            << "  backup-address    " << joined(settings.backupAddresses) << "\n";
  if (const auto problem = service.standardPortProblem()) {
    std::cout << "Not on port 443 (" << *problem << "); clients need ZORFP_CONNECT_TO.\n";
  }
  std::cout << "For a client's shell: . " << environmentFile.string() << "\n"
            << environmentLines(service) << "Page for a browser of this machine: " << page
            << std::endl;
}

// Prints, logs and keeps what comes in. The lines come from the service's thread only.
void reportTo(SandboxService& service, std::ofstream& log, Inspector& inspector) {
  const auto report = [&log, &inspector](const auto& entry) {
    inspector.add(entry);
    std::cout << zor::sandbox::linesForPeople(entry) << std::flush;
    if (log.is_open()) log << zor::sandbox::lineForPrograms(entry) << std::endl;
  };
  service.observe([report](const Received& request) { report(request); },
                  [report](const Handshake& handshake) { report(handshake); });
}

// Blocks the signals that end the program, for sigwait(), and ignores SIGPIPE.
sigset_t blockedEndings() {
  sigset_t endings;
  sigemptyset(&endings);
  sigaddset(&endings, SIGINT);
  sigaddset(&endings, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &endings, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  return endings;
}

int serve(const Arguments& arguments) {
  // Before any thread exists, so that all of them inherit the blocked signals.
  const sigset_t endings = blockedEndings();

  std::ofstream log;
  if (!arguments.logFile.empty()) {
    makePrivate(arguments.logFile);
    log.open(arguments.logFile, std::ios::app);
    if (!log) return fail("cannot write the log " + arguments.logFile);
  }
  SandboxService service(arguments.settings);
  Inspector inspector(service);
  reportTo(service, log, inspector);
  for (const Fault& fault : arguments.faults) service.script(fault.match, fault.script, fault.uses);
  if (const auto problem = service.start()) return fail(*problem);
  const std::filesystem::path folder = service.caFile().parent_path();
  if (const auto problem = inspector.start(folder, arguments.pagePort)) {
    service.stop();
    return fail(*problem);
  }
  const std::filesystem::path environmentFile = folder / "env";
  if (!writeWhole(environmentFile, environmentLines(service))) {
    return fail("cannot write " + environmentFile.string());
  }
  greet(service, arguments.settings, environmentFile, inspector.url());
  if (!arguments.readyFile.empty() &&
      !writeWhole(arguments.readyFile, readyText(service, inspector))) {
    service.stop();
    return fail("cannot write " + arguments.readyFile);
  }
  int ending = 0;
  sigwait(&endings, &ending);
  service.stop();
  inspector.stop();
  std::cout << "Ended after " << service.received().size() << " requests.\n";
  return 0;
}

// Uses the profile that the command line names, if any. Returns what is wrong.
std::string takeProfile(int argc, char** argv) {
  std::string file;
  CLI::App app;
  app.allow_extras();
  app.set_help_flag();
  app.add_option("--profile", file);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError&) {
    return "";  // The full parser reports the error.
  }
  std::string problem;
  if (file.empty()) return "";
  const auto profile = zor::profile::readProfile(file, problem);
  if (profile) zor::sandbox::words::use(*profile);
  return problem;
}

void addOptions(CLI::App& app, Arguments& arguments, Texts& texts) {
  SandboxSettings& settings = arguments.settings;
  app.add_option("--profile", texts.profileFile,  // takeProfile() has read it.
                 "The operator's profile to serve; otherwise the one this program was built with");
  app.add_option("--port", settings.port, "Port on every address; 0 for a free one")
      ->capture_default_str();
  app.add_option("--state", texts.stateFolder,
                 "Folder of the certificate and the log; a temporary one otherwise");
  app.add_option("--page-port", arguments.pagePort,
                 "Port of the page for a browser; 0 for a free one")
      ->capture_default_str();
  app.add_option("--expiry", settings.expirySeconds, "Seconds until a fingerprint expires")
      ->check(CLI::Range(std::int64_t{0}, kMaxSeconds))
      ->capture_default_str();
  app.add_option("--lifetime", settings.lifetimeSeconds, "Lifetime of a fingerprint in seconds")
      ->check(CLI::Range(std::int64_t{0}, kMaxSeconds))
      ->capture_default_str();
  app.add_option("--fault", texts.faults, "ROUTE=FAULT, see below; repeatable")
      ->allow_extra_args(false);
  app.add_option("--bundle-version", texts.bundleVersions,
                 "ID=VERSION of a host whose identity is to be unsealed; repeatable")
      ->allow_extra_args(false);
  app.add_option("--log", arguments.logFile, "Append each request to this file, as a line of JSON");
  app.add_option("--ready-file", arguments.readyFile,
                 "Written once the service listens: JSON with port, ca_file and connect_to");
}

int run(int argc, char** argv) {
  Arguments arguments;
  // Before the settings: they take their names and addresses from it.
  if (const std::string problem = takeProfile(argc, argv); !problem.empty()) {
    fail(problem);
    return kExitUsage;
  }
  arguments.settings = SandboxSettings();
  arguments.settings.port = kDefaultPort;
  arguments.settings.alsoStandardPort = true;

  CLI::App app("A local fingerprint service: everything that the library speaks, on loopback.");
  app.footer(zor::sandbox::faultHelp());
  Texts texts;
  addOptions(app, arguments, texts);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kExitUsage;
  }
  if (!texts.stateFolder.empty()) {
    arguments.settings.stateFolder = std::filesystem::absolute(texts.stateFolder);
  }
  if (const std::string problem = readLists(texts.faults, texts.bundleVersions, arguments);
      !problem.empty()) {
    fail(problem);
    return kExitUsage;
  }
  return serve(arguments);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
