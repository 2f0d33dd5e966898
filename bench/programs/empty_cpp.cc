// The baseline of the cold start of a C++ host: a process that loads the C++ runtime and does
// nothing.
#include <string>

int main(int /*count*/, char** arguments) { return std::string(arguments[0]).empty() ? 1 : 0; }
