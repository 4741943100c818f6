// The client of the backend.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "api/contact_source.h"
#include "api/device_info.h"
#include "core/user_info.h"
#include "foundation/error.h"
#include "foundation/export.h"
#include "model/contact.h"
#include "platform/url_session.h"

namespace quillfold {

class QFContactService;

// What a caller may have to say and hear about the requests of one operation.
struct RequestControl {
  // Ends the request under way, which then fails with code 4, and starts no further one.
  std::stop_token stop;
  // Told the size of the body of an upload, on the thread that is about to send it.
  std::function<void(std::size_t bytes)> onUpload;
};

// Talks to the backend on behalf of one user on one device: JSON over HTTP, with
// a bearer token that it fetches itself and keeps in memory until it expires.
//
// Nothing is retried, and a rejected token is not renewed. Operations may be
// called from any thread and any number of requests may run at once; a client
// stays alive until its requests have ended. Completions run on the main queue
// exactly once, unless an operation says otherwise. Unless marked optional a
// completion is required. Errors are in QFAPIErrorDomain: 1 and 2 for an answer
// that lacks what it must have, 3, 5 and 6 for a refusal by the backend (the HTTP
// status is in the user info of a 3), 4 for a failed transport.
class QUILLFOLD_EXPORT QFAPIClient : public std::enable_shared_from_this<QFAPIClient> {
 public:
  // One JSON value: what stands under "data" of an envelope, else the whole
  // answer; bytes (Data) for an answer that is no JSON. JSON null is a value.
  // Exactly one of result and error is present.
  using RequestCompletion = std::function<void(std::optional<Value> result, ErrorPtr error)>;
  using TokenCompletion = std::function<void(OptionalString token, ErrorPtr error)>;
  using DictionaryCompletion =
      std::function<void(std::optional<Dictionary> result, ErrorPtr error)>;
  using ContactSourceCompletion = std::function<void(QFContactSourcePtr source, ErrorPtr error)>;
  // The number of contacts that the backend has processed; 0 with an error.
  using ProcessedCompletion = std::function<void(std::int64_t processedCount, ErrorPtr error)>;
  using Parameters = std::map<std::string, std::string>;

  // --- Session and token ---------------------------------------------------

  // The process-wide client. Its user is the one in the user defaults at the
  // moment of the first call, for good; without one a random identifier that is
  // stored nowhere.
  static const std::shared_ptr<QFAPIClient>& sharedInstance();
  // A client with a session and a token of its own. Without device info it reads
  // its own.
  static std::shared_ptr<QFAPIClient> initWithUserId(std::string userId);
  static std::shared_ptr<QFAPIClient> initWithUserId(std::string userId,
                                                     QFDeviceInfoPtr deviceInfo);

  QFAPIClient(const QFAPIClient&) = delete;
  QFAPIClient& operator=(const QFAPIClient&) = delete;

  const QFDeviceInfoPtr& deviceInfo() const { return deviceInfo_; }
  // Written by a successful token request; the setters have no other caller.
  OptionalString token() const;
  void setToken(OptionalString token);
  std::optional<NSDate> tokenExpiryDate() const;
  void setTokenExpiryDate(std::optional<NSDate> date);
  std::string userId() const;
  void setUserId(std::string userId);
  std::shared_ptr<NSURLSession> session() const;
  void setSession(std::shared_ptr<NSURLSession> session);
  // The facade, not kept alive. Set on the shared client by
  // QFContactService::enableBackgroundSync.
  std::shared_ptr<QFContactService> contactService() const;
  void setContactService(const std::shared_ptr<QFContactService>& contactService);

  // The identifier of this installation; stored on first use.
  std::string deviceIdentifier() const;
  // "device_" and the device identifier.
  std::string fullSourceIdentifier() const;

  // A token that is good now: the one in memory, on the calling thread before
  // the call returns, or a fresh one. Not a forced renewal, despite the name.
  void refreshTokenWithCompletionHandler(TokenCompletion completion,
                                         const RequestControl& control = {});

  // --- Requests --------------------------------------------------------------

  // A request to a path of QFAPIConfig. The body is sent only if the method is
  // exactly "POST" or "PUT". A body that JSON can't express fails with code 2 on
  // the thread that got there; all other completions run on the main queue.
  void request(const std::string& endpoint, const std::string& method,
               const std::optional<Value>& body, const Parameters& parameters, bool requiresAuth,
               RequestCompletion completion);
  void get(const std::string& endpoint, const Parameters& parameters, bool requiresAuth,
           RequestCompletion completion);
  void post(const std::string& endpoint, const std::optional<Value>& body,
            const Parameters& parameters, bool requiresAuth, RequestCompletion completion);
  void put(const std::string& endpoint, const std::optional<Value>& body,
           const Parameters& parameters, bool requiresAuth, RequestCompletion completion);
  void delete_(const std::string& endpoint, const Parameters& parameters, bool requiresAuth,
               RequestCompletion completion);
  // An authenticated GET whose whole answer is handed on, envelope included; an
  // answer that is no JSON fails with code 2.
  void getSocialData(const std::string& endpoint, const Parameters& parameters,
                     RequestCompletion completion);
  // The error that a failed answer (status 400 or above) stands for.
  static ErrorPtr handleErrorResponseWithData(std::string_view body, std::int64_t statusCode);
  // Cancels all requests of this client, each of which then fails with code 4.
  void cancelAllRequests();

  // --- Key, health, user -----------------------------------------------------

  // Whether the backend knows the key. `token` is not looked at, the completion
  // is optional. Code 9 for an empty key and 7 for an absent or invalid user, on
  // the calling thread; 8 and 10 for an answer without a verdict.
  void validateAPIKey(const std::string& key, const OptionalString& token,
                      const QFUserInfoPtr& userInfo,
                      std::function<void(bool valid, ErrorPtr error)> completion);
  // The completion is optional; every failure is false.
  void checkHealthWithCompletion(std::function<void(bool healthy)> completion);
  // The backend's record of the user, as it came.
  void getUserInfoWithCompletionHandler(DictionaryCompletion completion,
                                        const RequestControl& control = {});

  // --- Contact sources and upload --------------------------------------------

  // Registers a source of this device and keeps its identifier. Where the backend
  // has it already the answer is made up locally, and the completion runs on the
  // session's thread.
  void createContactSourceWithName(const std::string& name, std::int64_t sourceType,
                                   ContactSourceCompletion completion,
                                   const RequestControl& control = {});
  // A record of this device's source, made without a request; the completion runs
  // before the call returns. Code 3 with status 500 while contactService is
  // absent.
  void getExistingContactSourceWithSourceType(std::int64_t sourceType,
                                              ContactSourceCompletion completion);
  QFContactSourcePtr createContactSourceFromDictionary(const Dictionary& payload,
                                                       const std::string& name,
                                                       std::int64_t sourceType,
                                                       const Value& organizationId) const;
  static void parseAndSetDatesFromDictionary(const Dictionary& payload, QFContactSource& source);
  static std::string stringFromSourceType(std::int64_t sourceType);
  static std::int64_t sourceTypeFromString(const OptionalString& name);

  // Uploads one batch of any size. Code 3 with status 422 and a line for each
  // fault where the backend found the contacts invalid.
  void syncContacts(QFContactList contacts, bool skipDuplicates,
                    ProcessedCompletion completionHandler, const RequestControl& control = {});
  void processSyncWithOrganizationId(const Value& organizationId, const std::string& sourceId,
                                     const QFContactList& contacts, bool skipDuplicates,
                                     const std::string& token, ProcessedCompletion completion,
                                     const RequestControl& control = {});

 private:
  QFAPIClient(std::string userId, QFDeviceInfoPtr deviceInfo);

  using ResponseHandler = std::function<void(const URLResult& result)>;
  struct UploadAuthorization {
    std::string token;
    // As the backend sent it.
    Value organizationId;
  };
  using AuthorizationCompletion =
      std::function<void(std::optional<UploadAuthorization> authorization, ErrorPtr error)>;

  void run(NSMutableURLRequest request, ResponseHandler handler,
           const RequestControl& control = {});
  void send(NSMutableURLRequest request, const std::string& endpoint,
            const std::optional<Value>& body, const RequestCompletion& completion);
  void sendSocial(NSMutableURLRequest request, const std::string& endpoint,
                  const RequestCompletion& completion);
  void readToken(const URLResult& result, const std::string& user,
                 const TokenCompletion& completion);
  void authorizeUpload(AuthorizationCompletion completion, const RequestControl& control);
  void postContactSource(const std::string& name, std::int64_t sourceType,
                         const UploadAuthorization& authorization,
                         const ContactSourceCompletion& completion, const RequestControl& control);
  void readContactSource(const URLResult& result, const std::string& name, std::int64_t sourceType,
                         const Value& organizationId, const ContactSourceCompletion& completion);
  Dictionary sourceSettings() const;

  const QFDeviceInfoPtr deviceInfo_;

  // Guards the fields below it; never held while calling out.
  mutable std::mutex mutex_;
  OptionalString token_;
  std::optional<NSDate> tokenExpiryDate_;
  std::string userId_;
  std::shared_ptr<NSURLSession> session_;
  std::weak_ptr<QFContactService> contactService_;
};

}  // namespace quillfold
