// Bytes as the answer of a backend: every record that is read of it, and every call of the
// client and the services that waits for it.
#include <algorithm>

#include "api/api_client.h"
#include "api/records/server_contact.h"
#include "core/defaults_keys.h"
#include "facade/contact_service.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archiver.h"
#include "foundation/json.h"
#include "fuzz/subject.h"
#include "recommendations/recommendation_service.h"
#include "social/social_service.h"
#include "testing/fake_platform.h"

namespace quillfold::fuzz::answers {
namespace {

// --- Records -------------------------------------------------------------------------------

template <typename Record>
Dictionary readAndWritten(const Dictionary& dictionary) {
  if constexpr (requires { Record::initWithDictionary(dictionary); }) {
    return Record::initWithDictionary(dictionary)->toDictionary();
  } else {
    return Record::fromDictionary(dictionary)->toDictionary();
  }
}

// What was written is JSON, and reads as the same.
template <typename Record>
void checkRecord(const Dictionary& dictionary) {
  const Dictionary written = readAndWritten<Record>(dictionary);
  require(readAndWritten<Record>(written) == written);
  require(NSJSONSerialization::dataWithJSONObject(written).has_value());
}

// A row may hold a person that lacks what is always written.
template <typename Record>
void checkRows(const Dictionary& dictionary) {
  try {
    checkRecord<Record>(dictionary);
    const auto record = Record::initWithDictionary(dictionary);
    require(record->copyWithZone()->toDictionary() == record->toDictionary());
  } catch (const NSException& exception) {
    require(exception.name() == std::string(NSInvalidArgumentException));
  }
}

bool areTexts(const Value& value) {
  if (const auto* array = value.asArray()) {
    return std::all_of(array->begin(), array->end(), areTexts);
  }
  if (const auto* object = value.asDictionary()) {
    return std::all_of(object->begin(), object->end(),
                       [](const auto& entry) { return areTexts(entry.second); });
  }
  return value.isString();
}

// Whether a written contact holds in each field what the field is for.
bool isTyped(const Dictionary& record) {
  return std::all_of(record.begin(), record.end(), [](const auto& entry) {
    const auto& [key, value] = entry;
    if (key == "is_primary" || key == "contact_type" || key == "skip_duplicates") return true;
    if (key == "tags" || key == "custom_fields") return areTexts(value);
    const Array* list = value.asArray();
    if (list == nullptr) return value.isString();
    return std::all_of(list->begin(), list->end(), [](const Value& element) {
      return element.isDictionary() && isTyped(*element.asDictionary());
    });
  });
}

template <typename Record>
void checkArchive(const std::shared_ptr<Record>& record) {
  const Dictionary written = record->toDictionary();
  ErrorPtr error;
  const auto archive = KeyedArchiver::archivedDataWithRootObject(record, &error);
  require(archive.has_value() == !error);
  if (!archive) return;
  const auto again = KeyedUnarchiver::unarchivedObjectOfClass<Record>(*archive);
  // A text field that holds something else is archived, and refused.
  require(again ? again->toDictionary() == written : !isTyped(written));
}

template <typename... Records>
void checkServerRecords(const Dictionary& dictionary) {
  (checkRecord<Records>(dictionary), ...);
  (checkArchive(Records::fromDictionary(dictionary)), ...);
}

void checkPeople(const Dictionary& dictionary) {
  const auto page = QFPaginatedMutualFollowers::initWithDictionary(dictionary);
  for (const auto& person : page->items()) {
    const Dictionary written = person->toDictionary();
    require(person->copyWithUpdates(written)->toDictionary() == written);
    require(person->isEqualToCanonicalContact(person->copyWithZone()) !=
            person->identifier().isAbsent());
  }
}

void checkSource(const Dictionary& dictionary) {
  const auto source = QFContactSource::contactSourceFromDictionary(dictionary);
  if (!source) return;
  const Dictionary written = source->toDictionary();
  const auto again = QFContactSource::contactSourceFromDictionary(written);
  require(again && again->toDictionary() == written);
  require(again->settings() == source->settings());
}

void checkRecords(const Dictionary& dictionary) {
  checkServerRecords<QFServerContact, QFServerContactPhoneNumber, QFServerContactEmailAddress,
                     QFServerContactURLAddress, QFServerContactAddress, QFServerContactDate,
                     QFServerContactSocialProfile, QFServerContactInstantMessage,
                     QFServerContactRelation>(dictionary);
  checkArchive(QFServerContactBulkCreate::initWithContacts(
      {{QFServerContact::fromDictionary(dictionary)}}, true));
  checkRecord<QFFollowActionResponse>(dictionary);
  checkRecord<QFFollowStatusResponse>(dictionary);
  checkRecord<QFEventActionResponse>(dictionary);
  checkRecord<QFSocialEvent>(dictionary);
  checkRecord<QFPaginatedEventList>(dictionary);
  checkRows<QFFollowRelationship>(dictionary);
  checkRows<QFPaginatedFollowList>(dictionary);
  checkPeople(dictionary);
  checkSource(dictionary);
}

// --- Calls -----------------------------------------------------------------------------------

// Gives every request the same answer.
class Answers : public NSURLSession {
 public:
  explicit Answers(DispatchQueue& queue) : queue_(queue) {}

  std::shared_ptr<NSURLSessionTask> dataTaskWithRequest(NSMutableURLRequest,
                                                        URLCompletion completion) override {
    const URLResult result{body, NSHTTPURLResponse{status}, nullptr};
    return std::make_shared<Task>(
        queue_, [result, completion = std::move(completion)] { completion(result); });
  }
  void getTasksWithCompletionHandler(std::function<void(URLSessionTasks)>) override {}

  std::int64_t status = 200;
  Data body;

 private:
  class Task : public NSURLSessionTask {
   public:
    Task(DispatchQueue& queue, std::function<void()> end) : queue_(queue), end_(std::move(end)) {}
    void resume() override { queue_.async(std::move(end_)); }
    void cancel() override {}

   private:
    DispatchQueue& queue_;
    std::function<void()> end_;
  };

  DispatchQueue& queue_;
};

// The shared client and the services on it, on a platform of their own.
class Host {
 public:
  Host() {
    client_->setSession(answers_);
    platform_.contacts->add(testing::MemoryContacts::person("c1", "Ann", "030 1"));
  }

  void answer(std::int64_t status, std::string_view body) {
    answers_->status = status;
    answers_->body = Data(std::string(body));
    run(clientCalls_);
    run(serviceCalls_);
    platform_.log->clear();
  }

 private:
  using Calls = std::vector<std::function<void()>>;

  void run(const Calls& calls) {
    for (const auto& call : calls) {
      forget();
      ended_ = 0;
      call();
      platform_.settle();
      require(ended_ == 1);
    }
  }

  // Nothing of one answer is left for the next.
  void forget() {
    platform_.defaults->setObject("u", defaults_keys::kUserId);
    platform_.defaults->removeObjectForKey(defaults_keys::kSourceId);
    client_->setToken("T");
    client_->setTokenExpiryDate(NSDate::dateWithTimeIntervalSince1970(1e12));
  }

  // A result or an error.
  auto either() {
    return [this](const auto& result, const ErrorPtr& error) {
      ++ended_;
      require(static_cast<bool>(result) == !error);
    };
  }
  // Nothing at all is an answer too.
  auto notBoth() {
    return [this](const auto& result, const ErrorPtr& error) {
      ++ended_;
      require(!result || !error);
    };
  }

  Calls clientCalls() {
    const auto user = QFUserInfo::initWithUserId("u", {}, "a@example.com", {});
    const auto contact = QFContact::initWithIdentifier("c1");
    return {
        [this] {
          client_->setToken({});
          client_->refreshTokenWithCompletionHandler(either());
        },
        [this, user] { client_->validateAPIKey("k", {}, user, either()); },
        [this] { client_->checkHealthWithCompletion([this](bool) { ++ended_; }); },
        [this] { client_->getUserInfoWithCompletionHandler(either()); },
        [this] { client_->createContactSourceWithName("n", QFSourceTypeDevice, either()); },
        [this, contact] {
          client_->syncContacts({contact}, true, [this](std::int64_t count, const ErrorPtr& error) {
            ++ended_;
            require(count == 0 || !error);
          });
        },
    };
  }

  Calls serviceCalls() {
    return {
        [this] { recommendations_->getSharedContactsByUsersToInviteWithLimit(5, either()); },
        [this] { recommendations_->getContactsUsingAppWithLimit(5, either()); },
        [this] { recommendations_->getUsersYouMightKnowWithLimit(5, either()); },
        [this] { social_->followUser("x", notBoth()); },
        [this] { social_->isFollowingUser("x", notBoth()); },
        [this] { social_->getFollowersWithUserId({}, 0, 5, either()); },
        [this] { social_->getMutualFollowsWithSkip(0, 5, either()); },
        [this] { social_->deleteEvent("x", notBoth()); },
        [this] { social_->getEvent("x", notBoth()); },
        [this] { social_->getFeedWithSkip(0, 5, notBoth()); },
    };
  }

  testing::FakePlatform platform_;
  const std::shared_ptr<QFContactService> facade_ = QFContactService::sharedInstance();
  const std::shared_ptr<QFAPIClient> client_ = QFAPIClient::sharedInstance();
  const std::shared_ptr<Answers> answers_ = std::make_shared<Answers>(*platform_.sessionQueue);
  const std::shared_ptr<QFRecommendationService> recommendations_ =
      QFRecommendationService::initWithContactService(facade_);
  const std::shared_ptr<QFSocialService> social_ = QFSocialService::initWithContactService(facade_);
  const Calls clientCalls_ = clientCalls();
  const Calls serviceCalls_ = serviceCalls();
  int ended_ = 0;
};

void run(std::string_view bytes) {
  const auto value = NSJSONSerialization::JSONObjectWithData(bytes);
  if (value && value->isDictionary()) checkRecords(*value->asDictionary());
  static Host& host = *new Host;
  // One status for each input keeps them quick.
  constexpr std::int64_t kStatuses[] = {200, 422, 500};
  host.answer(kStatuses[bytes.size() % std::size(kStatuses)], bytes);
}

const Subject subject("answers", run);

}  // namespace
}  // namespace quillfold::fuzz::answers
