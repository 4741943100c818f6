// Every value of every answer, with values of other types in its place.
#include <gmock/gmock.h>

#include "testing/fake_platform.h"
#include "tests/server/operations.h"

namespace quillfold::testing {
namespace {

// The last for nothing at all.
const std::optional<Value> kOthers[] = {nullptr, true, 7, "x", Array(), Dictionary(), std::nullopt};

using Spoiled = std::map<std::string, std::vector<Value>>;

// The whole with each of the others in the place of each value below `part`, by the way there.
template <typename Whole>
void spoil(const Value& part, const std::string& way, const Whole& whole, Spoiled& out) {
  using Part = std::function<Value(const std::optional<Value>&)>;
  const auto replace = [&](const Value& child, const std::string& name, const Part& with) {
    for (const auto& other : kOthers)
      out[way + name].push_back(with(other));
    spoil(child, way + name, with, out);
  };
  if (const Dictionary* object = part.asDictionary()) {
    for (const auto& [key, value] : *object) {
      replace(value, '/' + key, [&, name = key.c_str()](const auto& other) {
        Dictionary changed = *object;
        changed.erase(name);
        setIfPresent(changed, name, other);
        return whole(Value(changed));
      });
    }
  } else if (const Array* array = part.asArray(); array && !array->empty()) {
    replace(array->front(), "/0",
            [&](const auto& other) { return whole(Value(other ? Array{*other} : Array())); });
  }
}

class WrongTypesTest : public ::testing::Test {
 protected:
  WrongTypesTest() { platform.defaults->setObject("u", defaults_keys::kUserId); }

  // The end of an operation that gets this answer on that path; of an error its code.
  std::string end(const Operation& operation, const std::string& path, const Value& answer) {
    platform.defaults->setObject("SAVED", defaults_keys::kSourceId);
    platform.serveBackend([&](FakeTask& task) {
      const std::string target = task.path().substr(0, task.path().find('?'));
      if (target == path) task.answer(200, written(answer));
      if (target == operation.path) task.answer(200, operation.good);
      return task.ended;
    });
    QFAPIClient::sharedInstance()->setToken(std::nullopt);
    std::vector<std::string> ends;
    operation.start([&](const std::string& result, const ErrorPtr& error) {
      ends.push_back(error ? fmt::format("E{}", error->code()) : result);
      if (ends.back().starts_with("record")) ends.back() = "record";
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
    });
    platform.settle();
    platform.log->clear();
    return fmt::format("{}", fmt::join(ends, " and "));
  }

  FakePlatform platform;
};

TEST_F(WrongTypesTest, AreErrorsOnlyWhereTheyLeaveNoAnswer) {
  const Value& rules = at(cases(), "wrong types");
  const auto api = QFAPIClient::sharedInstance();
  const auto operations = everyOperation();
  const auto check = [&](const Operation& one, const Operation& asked) {
    const std::string usual = end(one, asked.path, json(asked.good));
    Spoiled places;
    spoil(
        json(asked.good), "", [](const Value& whole) { return whole; }, places);
    for (const auto& [way, answers] : places) {
      const bool own = &one == &asked;
      const Value& rule = at(rules, (own ? one.reading : one.name + " " + asked.name) + ' ' + way);
      for (std::size_t i = 0; i < answers.size(); ++i) {
        const std::string came = end(one, asked.path, answers[i]);
        SCOPED_TRACE(one.name + " with " + answers[i].description());
        const Value& expected = rule.isArray() ? rule.asArray()->at(i) : "GOOD";
        if (expected.isNumber()) {
          EXPECT_EQ(api->tokenExpiryDate()->timeIntervalSince1970(), expected.doubleValue());
        } else if (own && rule.isNull() && one.reading == "any") {
          const Value* data = find(*answers[i].asDictionary(), "data");
          const bool opened = data && find(*answers[i].asDictionary(), "status");
          EXPECT_EQ(came, (opened ? *data : answers[i]).description());
        } else if (own && rule.isNull() && (one.reading == "whole" || one.reading == "user")) {
          EXPECT_EQ(came, answers[i].description());
        } else {
          EXPECT_EQ(came, expected == Value("GOOD") ? usual : *expected.asString()) << way;
        }
      }
    }
  };
  for (const Operation& one : operations) {
    check(one, one);
    if (one.name == "source" || one.name == "upload") check(one, operations[1]);
  }
}

}  // namespace
}  // namespace quillfold::testing
