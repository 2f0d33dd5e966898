/* A C host of the installed library. */
#include <ZORFingerPrint/ZORFingerPrintC.h>
#include <stdio.h>

int main(void) {
  char* const identifier = zor_fingerprint_identifier();
  char* const version = zor_fingerprint_version();
  printf("identifier %s\nversion %s\n", identifier, version);
  zor_fingerprint_free(identifier);
  zor_fingerprint_free(version);
  return 0;
}
