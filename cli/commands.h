// The commands of zorfp. Each returns the program's exit status.
#ifndef ZOR_CLI_COMMANDS_H_
#define ZOR_CLI_COMMANDS_H_

#include <ZORFingerPrint/ZORPrivacy.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/host_ports.h"

namespace zor::cli {

struct FingerprintOptions {
  double timeoutSeconds = 60;
  bool json = false;
};
// Gets the fingerprint, from the cache or the service, and prints it.
int runFingerprint(const FingerprintOptions& options, HostPorts& host);

struct ReportOptions {
  bool json = false;
  bool unseal = false;                // Decrypts the sealed block too.
  bool explain = false;               // Shows for each entry where its value comes from.
  std::vector<std::string> withheld;  // Entries to leave out, by name.
};
// Prints the collected parameters as they would be sent.
int runReport(const ReportOptions& options);

// Prints the installation identifier.
int runIdentifier();

// Prints what is cached and until when.
int runCacheShow(bool json);
// Clears the cached fingerprint; the installation identifier stays.
int runCacheClear();

struct MachineIdOptions {
  bool optOut = false;
  bool optIn = false;
  bool json = false;
};
// Prints the identifier that the user's applications share, after opting out or in if asked to.
int runMachineId(const MachineIdOptions& options);

// Prints the failure records that wait to be uploaded.
int runPingbacksShow(bool json);
// Uploads them if the last upload was over a day ago, and says what happened.
int runPingbacksUpload(bool json);
// Deletes them.
int runPingbacksClear(bool json);

// Prints the answer about consent, after storing `answer` if there is one.
int runConsent(std::optional<ZORConsent> answer, bool json);

// Erases what the library keeps for this program; with `dryRun`, only shows what would be erased.
int runErase(bool dryRun, bool json);

// Prints when this program last asked the service, how that ended, and which records are waiting.
int runLast(bool json);

// Tries each route to the service once and shows the results.
int runDoctor(bool json, HostPorts& host);

// Prints the versions of the library and of the report.
int runVersion(bool json);

}  // namespace zor::cli

#endif  // ZOR_CLI_COMMANDS_H_
