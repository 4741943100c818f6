// What the facade is made of.
#pragma once

#include <memory>

#include "contacts/contact_reader.h"
#include "core/service_state.h"
#include "facade/contact_service.h"
#include "sync/sync_engine.h"
#include "sync/sync_info_store.h"

namespace quillfold {

struct QFContactService::Parts {
  Parts();

  const std::shared_ptr<QFContactsAuthorizationService> authorization;
  const std::shared_ptr<CNContactStore> contactStore;
  const std::shared_ptr<ServiceState> state;
  const std::shared_ptr<QFEventWrapperService> events;
  const OSLogPtr logger;
  const std::shared_ptr<ContactReader> reader;
  const std::shared_ptr<SyncInfoStore> store;
  const std::unique_ptr<SyncEngine> engine;
};

// The engine of the facade, for the account and the deferred task.
SyncEngine& engineOf(QFContactService& service);

// Takes events, key, token and user from one that has failed, which a reset leaves as it is.
void forgetFailure(QFContactService& service);

}  // namespace quillfold
