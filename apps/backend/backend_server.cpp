#include "apps/backend/backend_server.h"

#include <atomic>
#include <chrono>

#include "apps/backend/http/http_host.h"
#include "apps/backend/request_log.h"
#include "apps/backend/resources/resources.h"

namespace quillfold::backend {
namespace {

double systemTime() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

class BackendServer::Impl {
 public:
  explicit Impl(BackendOptions given)
      : options(std::move(given)),
        storage(options.database),
        context{storage,         misbehaviours,        options.now ? options.now : systemTime,
                options.apiKeys, options.tokenSeconds, options.demo},
        router([this](const std::string& header) { return authenticate(context, header); }),
        log(options.log),
        host([this](const HttpRequest& request) { return answer(request); },
             [this](const LoggedRequest& request) { log.add(request, context.now()); }) {
    addHealth(router);
    addSession(router, context);
    addUserInfo(router, context);
    addContactSource(router, context);
    addContacts(router, context);
    addRecommendations(router, context);
    addFollows(router, context);
    addEvents(router, context);
    addFeeds(router, context);
    addDeveloper(router, context);
  }

  HttpAnswer answer(const HttpRequest& request) {
    if (request.path.starts_with("/_dev/")) return router.answer(request);
    const auto misbehaviour = misbehaviours.next(request.path);
    if (!misbehaviour) return router.answer(request);
    if (auto instead = answerInstead(*misbehaviour)) return *instead;
    HttpAnswer answer = router.answer(request);
    spoil(*misbehaviour, answer);
    return answer;
  }

  const BackendOptions options;
  Storage storage;
  Misbehaviours misbehaviours;
  Context context;
  Router router;
  RequestLog log;
  std::atomic<int> port{0};
  HttpHost host;  // Last: its threads end before what they use goes away.
};

BackendServer::BackendServer(BackendOptions options)
    : impl_(std::make_unique<Impl>(std::move(options))) {}

BackendServer::~BackendServer() = default;

void BackendServer::start() {
  impl_->port = impl_->host.start(impl_->options.host, impl_->options.port);
}

void BackendServer::stop() {
  impl_->host.stop();
}

int BackendServer::port() const {
  return impl_->port;
}

std::string BackendServer::url() const {
  const std::string& host = impl_->options.host;
  const bool bracketed = host.find(':') != std::string::npos;
  return "http://" + (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port());
}

void BackendServer::setMisbehaviour(const std::string& path, const Misbehaviour& misbehaviour) {
  impl_->misbehaviours.set(path, misbehaviour);
}

void BackendServer::clearMisbehaviours() {
  impl_->misbehaviours.clearAll();
}

std::vector<nlohmann::json> BackendServer::contacts(const std::string& userId) const {
  return impl_->storage.contacts(userId);
}

std::size_t BackendServer::contactCount(const std::string& userId) const {
  return contacts(userId).size();
}

std::vector<LoggedRequest> BackendServer::requests() const {
  return impl_->log.entries();
}

}  // namespace quillfold::backend
