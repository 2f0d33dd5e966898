// The failure records that wait for their upload.
#ifndef ZOR_CLI_PENDING_RECORDS_H_
#define ZOR_CLI_PENDING_RECORDS_H_

#include <ZORFingerPrint/ZORValue.h>

#include "support/status.h"

namespace zor::cli {

// The records in the file; an empty array if there are none or the file is damaged.
struct PendingRecords {
  ZORValue records;
  Status status;  // Why the file cannot be opened.
};
PendingRecords pendingRecords();

// Prints them as a table.
void printRecords(const ZORValue& records);

}  // namespace zor::cli

#endif  // ZOR_CLI_PENDING_RECORDS_H_
