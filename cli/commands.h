// The commands of zorfp. Each returns the program's exit status.
#ifndef ZOR_CLI_COMMANDS_H_
#define ZOR_CLI_COMMANDS_H_

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
  bool unseal = false;   // Decrypts the sealed block too.
  bool explain = false;  // Shows where each value comes from, instead of the report.
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

// Tries each route to the service once and shows the results.
int runDoctor(bool json, HostPorts& host);

// Prints the versions of the library and of the report.
int runVersion(bool json);

}  // namespace zor::cli

#endif  // ZOR_CLI_COMMANDS_H_
