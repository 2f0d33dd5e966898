// The text of an array of records.
#ifndef ZOR_PINGBACK_RECORD_ARRAY_H_
#define ZOR_PINGBACK_RECORD_ARRAY_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// The compact JSON array that holds the records of `text` and then `record`, in UTF-8. Anything
// else than a JSON array, or no text, counts as no records. nullopt: the record cannot be written
// as JSON.
//
// A text that is certain to have been written by this function is continued without parsing it,
// which makes an append to a large file several times cheaper.
std::optional<std::string> arrayWithRecord(const std::optional<std::string>& text,
                                           const ZORValue& record);

// Whether `text`, which is valid UTF-8, is a JSON array of at least one record in compact form,
// where a record is a dictionary of texts and whole numbers of at most 18 digits, with no other
// escapes in its texts than those that need one. True guarantees valid JSON; false guarantees
// nothing.
bool isCompactRecordArray(std::string_view text);

}  // namespace zor

#endif  // ZOR_PINGBACK_RECORD_ARRAY_H_
