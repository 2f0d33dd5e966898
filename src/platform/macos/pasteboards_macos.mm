#import <AppKit/AppKit.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

// The pasteboard server may be out of reach (a daemon, a closing session); the platform then
// raises, and the call ends as if there were nothing.
class MacPasteboard final : public Pasteboard {
 public:
  explicit MacPasteboard(NSPasteboard* board) : _board(board) {}

  std::optional<Data> dataForType(const std::string& type) override {
    @autoreleasepool {
      @try {
        NSString* typeName = foundationString(type);
        NSData* data = typeName == nil ? nil : [_board dataForType:typeName];
        if (data == nil) return std::nullopt;
        return bytesFromData(data);
      } @catch (NSException*) {
        return std::nullopt;
      }
    }
  }

  bool setData(const Data& data, const std::string& type) override {
    @autoreleasepool {
      @try {
        NSString* typeName = foundationString(type);
        if (typeName == nil) return false;
        // Data is taken only for a type that was declared, which empties the pasteboard.
        [_board declareTypes:@[ typeName ] owner:nil];
        return [_board setData:foundationData(data) forType:typeName];
      } @catch (NSException*) {
        return false;
      }
    }
  }

 private:
  NSPasteboard* const _board;
};

class MacPasteboards final : public PasteboardPort {
 public:
  // The platform makes one that does not exist yet.
  std::unique_ptr<Pasteboard> pasteboardWithName(const std::string& name) override {
    @autoreleasepool {
      @try {
        NSString* boardName = foundationString(name);
        NSPasteboard* board = boardName == nil ? nil : [NSPasteboard pasteboardWithName:boardName];
        if (board == nil) return nullptr;
        return std::make_unique<MacPasteboard>(board);
      } @catch (NSException*) {
        return nullptr;
      }
    }
  }
};

}  // namespace

PasteboardPort& macosPasteboardPort() {
  static auto& port = *new MacPasteboards;
  return port;
}

}  // namespace zor
