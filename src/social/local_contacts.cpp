// The join of a follow list with the contacts of the device.
#include <atomic>

#include "facade/contact_service.h"
#include "platform/dispatch.h"
#include "platform/log_line.h"
#include "social/social_service.h"

namespace quillfold {

namespace {

// One list on its way: started, then kept alive by its lookups, and finished on the
// main queue once the last one has ended. Each lookup writes a row of its own, and
// the counter orders these writes before the end, so that no lock is needed
// whatever thread a lookup answers on.
class LocalContactJoin : public std::enable_shared_from_this<LocalContactJoin> {
 public:
  LocalContactJoin(std::shared_ptr<QFSocialService> service, QFPaginatedFollowListPtr list,
                   QFSocialService::EnrichmentCompletion completion)
      : service_(std::move(service)),
        list_(std::move(list)),
        rows_(list_ ? list_->items() : std::vector<QFFollowRelationshipPtr>()),
        completion_(std::move(completion)) {}

  void start() {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      const QFFollowRelationshipPtr row = rows_[i];
      // An identifier that is JSON null counts as one; its lookup fails.
      if (row && !row->contactId().isAbsent()) lookUp(i, row, row->contactId().description());
    }
    leave();
  }

 private:
  void lookUp(std::size_t index, const QFFollowRelationshipPtr& row,
              const std::string& identifier) {
    ++open_;
    service_->contactService()->fetchContactWithIdentifier(
        identifier, [self = shared_from_this(), index, row, identifier](const QFContactPtr& contact,
                                                                        const ErrorPtr& error) {
          if (contact) {
            const QFFollowRelationshipPtr joined = row->copyWithZone();
            joined->setLocalContact(contact);
            self->rows_[index] = joined;
          } else if (error) {
            logLine("Error fetching local contact for ID {}: {}", identifier,
                    error->localizedDescription());
          }
          self->leave();
        });
  }

  void leave() {
    if (--open_ > 0) return;
    dispatchMain([self = shared_from_this()] { self->finish(); });
  }

  void finish() {
    if (list_) list_->setItems(std::move(rows_));
    const auto completion = std::move(completion_);
    if (completion) completion(list_);
  }

  const std::shared_ptr<QFSocialService> service_;
  const QFPaginatedFollowListPtr list_;
  std::vector<QFFollowRelationshipPtr> rows_;
  QFSocialService::EnrichmentCompletion completion_;
  // The lookups under way, and one for the walk that starts them.
  std::atomic<std::size_t> open_ = 1;
};

}  // namespace

void QFSocialService::enrichWithLocalContacts(const QFPaginatedFollowListPtr& list,
                                              EnrichmentCompletion completion) {
  QFPaginatedFollowListPtr copy = list ? list->copyWithZone() : nullptr;
  if (!contactService_) {
    NSLog("ContactService not initialized, returning list without local contacts");
    if (completion) completion(std::move(copy));
    return;
  }
  std::make_shared<LocalContactJoin>(shared_from_this(), std::move(copy), std::move(completion))
      ->start();
}

}  // namespace quillfold
