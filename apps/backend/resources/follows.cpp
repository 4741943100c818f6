// Following, and the lists of who follows whom.
#include <array>

#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/page.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/resources/social_forms.h"
#include "apps/backend/validation/shape.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::array kFollowFields = {Field{"user_id", kFilledString}};
constexpr Shape kFollowRequest{kFollowFields, true};

HttpAnswer follow(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kFollowRequest);
  const User user = namedUser(context, request, body.at("user_id").get<std::string>());
  if (user.id == request.userId()) throw HttpError(400, "You cannot follow yourself");
  const bool isNew = context.storage.follow(request.userId(), user.id, context.now());
  return success({{"message", isNew ? "You follow this user" : "You already follow this user"},
                  {"already_following", !isNew},
                  {"success", true}});
}

HttpAnswer unfollow(Context& context, const Request& request) {
  const User user = namedUser(context, request, request.parameter("user_id"));
  const bool was = context.storage.unfollow(request.userId(), user.id);
  return success(
      {{"message", was ? "You no longer follow this user" : "You did not follow this user"},
       {"was_following", was},
       {"success", true}});
}

HttpAnswer isFollowing(Context& context, const Request& request) {
  const User user = namedUser(context, request, request.parameter("user_id"));
  return success({{"is_following", context.storage.isFollowing(request.userId(), user.id)}});
}

json rowForm(const Follow& follow, const User& listed) {
  const json metadata = userMetadata(listed);
  json row = {{"id", follow.id},
              {"follower_id", follow.follower.id},
              {"followed_id", follow.followed.id},
              {"user_id", listed.id},
              {"displayName", fullName(listed.userInfo, listed.id)},
              {"created_at", isoTime(follow.createdAt)},
              {"is_following", follow.isFollowing},
              {"follower", shortPersonForm(follow.follower)},
              {"followed", shortPersonForm(follow.followed)}};
  addMember(row, "photoURL", textMember(listed.userInfo, "avatarUrl"));
  for (const char* key : {"username", "bio", "website"})
    addMember(row, key, textMember(metadata, key));
  // Of the device, which is asked for exactly this identifier.
  if (follow.contactId) row["contact_id"] = *follow.contactId;
  return row;
}

json followerForm(const Follow& follow) {
  return rowForm(follow, follow.follower);
}

json followedForm(const Follow& follow) {
  return rowForm(follow, follow.followed);
}

HttpAnswer followers(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  const User user = askedUser(context, request);
  return pageAnswer(context.storage.followers(user.id, request.userId(), range), range,
                    followerForm);
}

HttpAnswer following(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  const User user = askedUser(context, request);
  return pageAnswer(context.storage.following(user.id, request.userId(), range), range,
                    followedForm);
}

HttpAnswer mutualFollows(Context& context, const Request& request) {
  const PageRange range = pageRange(request);
  return pageAnswer(context.storage.mutualFollows(request.userId(), range), range, personForm);
}

}  // namespace

void addFollows(Router& router, Context& context) {
  router.add("POST", "/api/v1/social/follow", Access::kBearer,
             [&context](const Request& request) { return follow(context, request); });
  router.add("DELETE", "/api/v1/social/unfollow/{user_id}", Access::kBearer,
             [&context](const Request& request) { return unfollow(context, request); });
  router.add("GET", "/api/v1/social/is-following/{user_id}", Access::kBearer,
             [&context](const Request& request) { return isFollowing(context, request); });
  router.add("GET", "/api/v1/social/followers", Access::kBearer,
             [&context](const Request& request) { return followers(context, request); });
  router.add("GET", "/api/v1/social/following", Access::kBearer,
             [&context](const Request& request) { return following(context, request); });
  router.add("GET", "/api/v1/social/mutual-follows", Access::kBearer,
             [&context](const Request& request) { return mutualFollows(context, request); });
}

}  // namespace quillfold::backend
