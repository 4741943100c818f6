#include <quillfold/core.h>

#include <iostream>

// A host without vCards and HTTP of the library's comes as far as its own would be asked.
int main() try {
  quillfold::Platform::install(quillfold::makeLocalPlatform({}));
  quillfold::Account::open({}).get();
} catch (const quillfold::Failure& failure) {
  std::cout << failure.what() << '\n';
}
