// A table of system calls, as programs with a replaceable file layer have one.
#include <fcntl.h>
#include <unistd.h>

extern "C" {
struct CallTable {
  int (*open)(const char*, int, ...);
  ssize_t (*read)(int, void*, size_t);
  int (*close)(int);
  ssize_t (*readlink)(const char*, char*, size_t);
};
// Kept though nothing in the program reads it.
extern const CallTable kCallTable;
__attribute__((used, retain)) const CallTable kCallTable = {open, read, close, readlink};
}
