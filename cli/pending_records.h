// The failure records that wait for their upload.
#ifndef ZOR_CLI_PENDING_RECORDS_H_
#define ZOR_CLI_PENDING_RECORDS_H_

#include <ZORFingerPrint/ZORValue.h>

#include "support/status.h"

namespace zor::cli {

// Returns the records in the file. The array is empty if the file is empty or damaged.
struct PendingRecords {
  ZORValue records;
  Status status;  // Why the file cannot be opened.
};
PendingRecords pendingRecords();

// Prints them as a table.
void printRecords(const ZORValue& records);

}  // namespace zor::cli

#endif  // ZOR_CLI_PENDING_RECORDS_H_
