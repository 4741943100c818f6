#include <quillfold/quillfold.h>
#include <iostream>

int main() {
  const auto contact = quillfold::QFContact::initWithIdentifier("1");
  contact->setGivenName("Ann");
  contact->updateDisplayInfo();
  const auto& service = quillfold::QFContactService::sharedInstance();
  std::cout << quillfold::QuillfoldKitVersionString << ' ' << *contact->displayName() << ' '
            << service->currentState() << '\n';
  return *contact->displayName() == "Ann" && !service->isInitialized() ? 0 : 1;
}
