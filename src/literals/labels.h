// The platform and version labels; floors below the collector use them directly.
#ifndef ZOR_LITERALS_LABELS_H_
#define ZOR_LITERALS_LABELS_H_

#include <string>

namespace zor {

// The platform label of the report: which system this library was built for.
std::string platformLabel();

// The collector's version; not the plain "1.0.0" of the block key derivation.
std::string versionLabel();

}  // namespace zor

#endif  // ZOR_LITERALS_LABELS_H_
