/// Writes the schema that all parsers are measured with to standard output.

#include <iostream>

#include "support/Packages.h"

int main() {
  std::cout << benchmarks::combinedSchema(0);
  return std::cout.flush() ? 0 : 1;
}
