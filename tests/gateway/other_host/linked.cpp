// A program linked to the shared library that is the host.
#include "tests/gateway/other_host/run.h"

int main(int count, char** arguments) {
  return runTests(count, arguments);
}
