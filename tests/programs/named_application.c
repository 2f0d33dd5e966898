/* A host that names its application, as an interpreter's script would. usage: PROGRAM IDENTIFIER */
#include <ZORFingerPrint/ZORFingerPrintC.h>
#include <stdio.h>

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2 || !zor_fingerprint_set_application(arguments[1], "1.0")) return 2;
  char* const identifier = zor_fingerprint_identifier();
  char* const report = zor_fingerprint_environment(); /* Claims a slot of the shared identifier. */
  const int isLateNameRefused = !zor_fingerprint_set_application("org.example.late", "1.0");
  printf("%s\n", identifier);
  const int isDone = report != NULL && isLateNameRefused;
  zor_fingerprint_free(identifier);
  zor_fingerprint_free(report);
  return isDone ? 0 : 1;
}
