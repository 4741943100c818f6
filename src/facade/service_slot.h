// The services on top of the facade, which their getters of QFContactService make.
#pragma once

#include <memory>

#include "facade/contact_service.h"
#include "platform/log_line.h"

namespace quillfold {

// The one instance of a service, made on first use by a ready facade; it outlives a
// reset. Absent, with a line that has the getter's name, unless the facade is ready.
template <typename Service>
std::shared_ptr<Service> serviceIfReady(const QFContactService& contactService,
                                        const char* getter) {
  if (!contactService.isInitialized()) {
    logLine("Attempting to access {} before ContactsService is initialized", getter);
    return nullptr;
  }
  static const auto* instance = new std::shared_ptr<Service>(
      Service::initWithContactService(QFContactService::sharedInstance()));
  return *instance;
}

}  // namespace quillfold
