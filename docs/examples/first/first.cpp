// Says what a package asks for, or why it is refused.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>

#include <exception>
#include <iostream>

int main(int argc, char* argv[]) {
  if (argc != 2) {
    std::cerr << "usage: first PACKAGE\n";
    return 2;
  }
  try {
    const Drelvan::ParserSession parser;                                    // 1
    const auto document = Drelvan::PackageDocument::fromFile(argv[1]);      // 2
    std::cout << (document.holdsRequests() ? "a request\n" : "a reply\n");  // 3
    return 0;
  } catch (const std::exception& failure) {
    std::cout << failure.what() << "\n";  // 4
    return 1;
  }
}
