// Everything that the core runs when the library is loaded. Both steps are in one place, so that
// their order does not depend on the order in which files are linked.
#include "collector/ZORDataCollector_mac.h"
#include "pingback/ZORSecPingback.h"

namespace zor {
namespace {

__attribute__((constructor)) void load() {
  ZORDataCollector_mac::load();
  ZORSecPingback::load();
}

}  // namespace
}  // namespace zor
