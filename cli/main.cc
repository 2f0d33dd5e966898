// zorfp: a command-line host of the library.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <optional>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "platform/connect_to.h"

namespace zor::cli {
namespace {

struct Arguments {
  std::vector<std::string> connectTo = connectToFromEnvironment();
  bool trace = false;
  bool json = false;
  FingerprintOptions fingerprint;
  ReportOptions report;
  MachineIdOptions machineId;
};

// What the command line asks for; set by the parser, run when the ports are in place.
using Command = std::function<int(HostPorts& host)>;

void printExchange(const TracedExchange& exchange) {
  const std::string outcome = exchange.error ? exchange.error->localizedDescription
                                             : "status " + std::to_string(exchange.statusCode);
  printDiagnostic(exchange.method + " " + exchange.url + ": " + outcome + " after " +
                  shownDuration(exchange.duration));
}

void addJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Print JSON for programs");
}

// CLI::Range lets not-a-number through: it lies neither below nor above.
std::string refuseNotANumber(const std::string& text) {
  return std::isnan(std::strtod(text.c_str(), nullptr)) ? text + " is not a number" : "";
}

void addFingerprint(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* sub = app.add_subcommand("fingerprint", "Fetch this machine's fingerprint");
  sub->add_option("--timeout", arguments.fingerprint.timeoutSeconds,
                  "Seconds to wait for an answer")
      ->check(CLI::Range(0.0, 86400.0))
      ->check(refuseNotANumber)
      ->capture_default_str();
  addJson(*sub, arguments.fingerprint.json);
  sub->callback([&arguments, &command] {
    command = [&arguments](HostPorts& host) { return runFingerprint(arguments.fingerprint, host); };
  });
}

void addReport(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* sub = app.add_subcommand("report", "Show the collected parameters");
  addJson(*sub, arguments.report.json);
  CLI::Option* unseal = sub->add_flag("--unseal", arguments.report.unseal,
                                      "Open the sealed block of this machine's own report");
  sub->add_flag("--explain", arguments.report.explain,
                "Show for each entry its source, whether it was found, and the time it took")
      ->excludes(unseal);
  sub->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runReport(arguments.report); };
  });
}

void addCache(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* cache = app.add_subcommand("cache", "Look at the cached fingerprint, or drop it");
  cache->require_subcommand(1);
  CLI::App* show = cache->add_subcommand("show", "Show what is cached, and until when");
  addJson(*show, arguments.json);
  show->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runCacheShow(arguments.json); };
  });
  CLI::App* clear = cache->add_subcommand("clear", "Drop the cached fingerprint");
  clear->callback([&command] { command = [](HostPorts&) { return runCacheClear(); }; });
}

void addMachineId(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* sub = app.add_subcommand("machine-id", "Show the identifier that applications share");
  auto* optOut = sub->add_flag("--opt-out", arguments.machineId.optOut, "Opt this program out");
  sub->add_flag("--opt-in", arguments.machineId.optIn, "Opt this program in again")
      ->excludes(optOut);
  addJson(*sub, arguments.machineId.json);
  sub->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runMachineId(arguments.machineId); };
  });
}

void addPingbacks(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* pingbacks = app.add_subcommand("pingbacks", "Show the failure records, or handle them");
  CLI::App* upload = pingbacks->add_subcommand("upload", "Upload them if an upload is due");
  CLI::App* clear = pingbacks->add_subcommand("clear", "Empty their file");
  // Before the subcommand or behind it.
  for (CLI::App* one : {pingbacks, upload, clear}) addJson(*one, arguments.json);
  pingbacks->require_subcommand(0, 1);
  pingbacks->callback([&arguments, &command, upload, clear] {
    command = [&arguments, upload, clear](HostPorts&) {
      if (upload->parsed()) return runPingbacksUpload(arguments.json);
      if (clear->parsed()) return runPingbacksClear(arguments.json);
      return runPingbacksShow(arguments.json);
    };
  });
}

void addOthers(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* identifier = app.add_subcommand("identifier", "Show the installation identifier");
  identifier->callback([&command] { command = [](HostPorts&) { return runIdentifier(); }; });
  CLI::App* doctor = app.add_subcommand("doctor", "Try each route to the service once");
  addJson(*doctor, arguments.json);
  doctor->callback([&arguments, &command] {
    command = [&arguments](HostPorts& host) { return runDoctor(arguments.json, host); };
  });
  CLI::App* version = app.add_subcommand("version", "Show the versions");
  addJson(*version, arguments.json);
  version->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runVersion(arguments.json); };
  });
}

// The first redirection that cannot be followed; nullopt: all can. Exchanges must not go ahead
// without it: what is meant for a sandbox would reach the operator's service.
std::optional<std::string> wrongRedirection(const std::vector<std::string>& connectTo) {
  const auto wrong = std::find_if_not(connectTo.begin(), connectTo.end(), isConnectToEntry);
  return wrong == connectTo.end() ? std::nullopt : std::optional(*wrong);
}

int run(int argumentCount, char** argumentValues) {
  Arguments arguments;
  Command command;
  CLI::App app("Fetches, shows and checks what the fingerprint library does on this machine.",
               "zorfp");
  app.require_subcommand(1);
  app.add_option("--connect-to", arguments.connectTo,
                 "Redirect connections, as HOST:PORT:HOST:PORT; certificates are still checked "
                 "for the original name (also: ZORFP_CONNECT_TO)");
  app.add_flag("--trace", arguments.trace, "Tell of each exchange on standard error");
  addFingerprint(app, arguments, command);
  addReport(app, arguments, command);
  addCache(app, arguments, command);
  addMachineId(app, arguments, command);
  addPingbacks(app, arguments, command);
  addOthers(app, arguments, command);
  try {
    app.parse(argumentCount, argumentValues);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  if (const auto wrong = wrongRedirection(arguments.connectTo)) {
    printDiagnostic("\"" + *wrong + "\" is no redirection of the form HOST:PORT:HOST:PORT.");
    return kWrongUsage;
  }
  auto& host = *new HostPorts(makeURLLoading({arguments.connectTo}),
                              arguments.trace ? printExchange : TracedURLLoading::Observer{});
  return command(host);
}

// The status to end with: a command whose output was lost, to a full disk say, is not done.
int withOutputWritten(int status) {
  std::cout.flush();
  if (std::cout) return status;
  printDiagnostic("Standard output could not be written.");
  return status == kDone ? kFailed : status;
}

}  // namespace
}  // namespace zor::cli

int main(int argumentCount, char** argumentValues) {
  try {
    return zor::cli::withOutputWritten(zor::cli::run(argumentCount, argumentValues));
  } catch (const std::exception& error) {
    zor::cli::printDiagnostic(error.what());
    return zor::cli::kFailed;
  }
}
