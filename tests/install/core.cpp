#include <quillfold/core.h>

#include <iostream>

// Links and begins without vCards and HTTP; it has no key, and says so.
int main() try {
  quillfold::Platform::install(quillfold::makeLocalPlatform({}));
  quillfold::Account::open({}).get();
  return 1;
} catch (const quillfold::Failure& failure) {
  std::cout << failure.what() << ' ' << quillfold::QuillfoldKitVersionString << '\n';
}
