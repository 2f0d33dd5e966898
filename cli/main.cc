// zorfp: a command-line host of the library.
#include <ZORFingerPrint/ZORFingerPrint.h>

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
  std::optional<ZORConsent> consent;  // The answer to keep.
  bool dryRun = false;
};

// The chosen command; set by the parser, run once the ports are in place.
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

// CLI::Range accepts not-a-number, which is neither below the range nor above it.
std::string refuseNotANumber(const std::string& text) {
  return std::isnan(std::strtod(text.c_str(), nullptr)) ? text + " is not a number" : "";
}

// Wraps a command that collects, keeps or sends but does not check for permission itself.
Command whenPermitted(const Command& command) {
  return [command](HostPorts& host) {
    if (ZORFingerPrint::isPermitted()) return command(host);
    printDiagnostic("Consent has not been given. \"zorfp consent give\" gives it.");
    return static_cast<int>(kFailed);
  };
}

void addFingerprint(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* sub = app.add_subcommand("fingerprint", "Fetch this machine's fingerprint");
  sub->add_option("--timeout", arguments.fingerprint.timeoutSeconds,
                  "Timeout in seconds; with every route silent the library tries for up to 223")
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
  sub->add_flag("--unseal", arguments.report.unseal, "Also decrypt the sealed block");
  sub->add_flag("--explain", arguments.report.explain,
                "Show where each entry comes from, whether it was found, and how long it took");
  sub->add_option("--without", arguments.report.withheld,
                  "Leave out this entry, by its name in --explain; may be repeated")
      ->allow_extra_args(false);
  sub->callback([&arguments, &command] {
    command = whenPermitted([&arguments](HostPorts&) { return runReport(arguments.report); });
  });
}

void addCache(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* cache = app.add_subcommand("cache", "Show or clear the cached fingerprint");
  cache->require_subcommand(1);
  CLI::App* show = cache->add_subcommand("show", "Show what is cached and until when");
  addJson(*show, arguments.json);
  show->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runCacheShow(arguments.json); };
  });
  CLI::App* clear = cache->add_subcommand("clear", "Clear the cached fingerprint");
  clear->callback([&command] { command = [](HostPorts&) { return runCacheClear(); }; });
}

void addMachineId(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* sub = app.add_subcommand("machine-id", "Show the identifier that applications share");
  auto* optOut = sub->add_flag("--opt-out", arguments.machineId.optOut, "Opt this program out");
  sub->add_flag("--opt-in", arguments.machineId.optIn, "Opt this program in again")
      ->excludes(optOut);
  addJson(*sub, arguments.machineId.json);
  sub->callback([&arguments, &command] {
    command = whenPermitted([&arguments](HostPorts&) { return runMachineId(arguments.machineId); });
  });
}

void addPingbacks(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* pingbacks =
      app.add_subcommand("pingbacks", "Show, upload or clear the failure records");
  CLI::App* upload =
      pingbacks->add_subcommand("upload", "Upload the failure records if an upload is due");
  CLI::App* clear = pingbacks->add_subcommand("clear", "Delete the failure records");
  // Before or after the subcommand.
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

void addConsent(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* consent = app.add_subcommand("consent", "Show or change the answer about consent");
  consent->require_subcommand(0, 1);
  addJson(*consent, arguments.json);
  const auto answers = [&](const char* name, const char* help, ZORConsent answer) {
    CLI::App* sub = consent->add_subcommand(name, help);
    addJson(*sub, arguments.json);
    sub->callback([&arguments, answer] { arguments.consent = answer; });
  };
  answers("give", "Agree", ZORConsent::given);
  answers("refuse", "Refuse, and erase what was kept", ZORConsent::refused);
  answers("forget", "Take the answer back", ZORConsent::unknown);
  consent->final_callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runConsent(arguments.consent, arguments.json); };
  });
}

void addPrivacy(CLI::App& app, Arguments& arguments, Command& command) {
  addConsent(app, arguments, command);
  CLI::App* erase = app.add_subcommand("erase", "Erase what the library keeps for this program");
  erase->add_flag("--dry-run", arguments.dryRun, "Only show what would be erased");
  addJson(*erase, arguments.json);
  erase->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runErase(arguments.dryRun, arguments.json); };
  });
  CLI::App* last = app.add_subcommand("last", "Show when this program last asked the service");
  addJson(*last, arguments.json);
  last->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runLast(arguments.json); };
  });
}

void addOthers(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* identifier = app.add_subcommand("identifier", "Show the installation identifier");
  identifier->callback(
      [&command] { command = whenPermitted([](HostPorts&) { return runIdentifier(); }); });
  CLI::App* doctor = app.add_subcommand("doctor", "Try each route to the service once");
  addJson(*doctor, arguments.json);
  doctor->callback([&arguments, &command] {
    command =
        whenPermitted([&arguments](HostPorts& host) { return runDoctor(arguments.json, host); });
  });
  CLI::App* version = app.add_subcommand("version", "Show the versions");
  addJson(*version, arguments.json);
  version->callback([&arguments, &command] {
    command = [&arguments](HostPorts&) { return runVersion(arguments.json); };
  });
}

// The first redirection that has the wrong form; nullopt if all are right. Requests must not be
// sent without a redirection: what is meant for a sandbox would reach the operator's service.
std::optional<std::string> wrongRedirection(const std::vector<std::string>& connectTo) {
  const auto wrong = std::find_if_not(connectTo.begin(), connectTo.end(), isConnectToEntry);
  return wrong == connectTo.end() ? std::nullopt : std::optional(*wrong);
}

int run(int argumentCount, char** argumentValues) {
  Arguments arguments;
  Command command;
  CLI::App app(
      "Gets this machine's fingerprint and shows what the library collects, keeps and sends.",
      "zorfp");
  app.require_subcommand(1);
  app.add_option("--connect-to", arguments.connectTo,
                 "Redirect connections: HOST:PORT:CONNECT-HOST:CONNECT-PORT; certificates must "
                 "still be for HOST (environment: ZORFP_CONNECT_TO)");
  app.add_flag("--trace", arguments.trace, "Log each exchange to standard error");
  addFingerprint(app, arguments, command);
  addReport(app, arguments, command);
  addCache(app, arguments, command);
  addMachineId(app, arguments, command);
  addPingbacks(app, arguments, command);
  addPrivacy(app, arguments, command);
  addOthers(app, arguments, command);
  try {
    app.parse(argumentCount, argumentValues);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  if (const auto wrong = wrongRedirection(arguments.connectTo)) {
    printDiagnostic("\"" + *wrong +
                    "\" is not a redirection of the form "
                    "HOST:PORT:CONNECT-HOST:CONNECT-PORT.");
    return kWrongUsage;
  }
  auto& host = *new HostPorts(makeURLLoading({arguments.connectTo}),
                              arguments.trace ? printExchange : TracedURLLoading::Observer{});
  return command(host);
}

// The exit status: a command whose output was lost, for example on a full disk, has failed.
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
