#import <AppKit/AppKit.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

constexpr const char* kWriting = "cannot write a pasteboard";

Status outOfReach(const char* failure) {
  return Status::ofSystem(failure, EIO, "the pasteboard server does not answer");
}

// A writer declares a type, which empties the pasteboard, and then gives the data. Between the two
// the type has no data, so a type without data is read again. The writer needs microseconds; if it
// is killed in between, no data ever comes.
NSData* finishedData(NSPasteboard* board, NSString* type) {
  constexpr int kMaxLooks = 6;
  for (int look = 1;; ++look) {
    NSData* data = [board dataForType:type];
    const bool unfinished = data == nil && [board availableTypeFromArray:@[ type ]] != nil;
    if (!unfinished || look == kMaxLooks) return data;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// The pasteboard server may be out of reach (in a daemon, or in a session that is closing). The
// platform then raises an exception, which does not mean that the pasteboard is empty.
class MacPasteboard final : public Pasteboard {
 public:
  explicit MacPasteboard(NSPasteboard* board) : _board(board) {}

  Reading<Data> dataForType(const std::string& type) override {
    @autoreleasepool {
      @try {
        NSString* typeName = foundationString(type);
        NSData* data = typeName == nil ? nil : finishedData(_board, typeName);
        if (data == nil) return {};
        return bytesFromData(data);
      } @catch (NSException*) {
        return outOfReach("cannot read a pasteboard");
      }
    }
  }

  Status setData(const Data& data, const std::string& type) override {
    @autoreleasepool {
      @try {
        NSString* typeName = foundationString(type);
        if (typeName == nil) return Status::unusable(kWriting, "its type is not UTF-8");
        // Data is accepted only for a declared type, and declaring it empties the pasteboard.
        [_board declareTypes:@[ typeName ] owner:nil];
        if ([_board setData:foundationData(data) forType:typeName]) return {};
        return outOfReach(kWriting);
      } @catch (NSException*) {
        return outOfReach(kWriting);
      }
    }
  }

  Status clear(const std::string& /*type*/) override {
    @autoreleasepool {
      @try {
        // The library's pasteboards hold one type each.
        [_board clearContents];
        return {};
      } @catch (NSException*) {
        return outOfReach("cannot clear a pasteboard");
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
  static constinit MadeOnce<MacPasteboards> port;
  return port.get();
}

}  // namespace zor
