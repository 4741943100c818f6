// One sync of a real address book to a real backend, its repetition, its
// interruption and its failures.
#include <filesystem>
#include <future>

#include "foundation/format.h"
#include "tests/apps/quillfold/host_fixture.h"

namespace quillfold::testing {
namespace {

namespace fs = std::filesystem;
using backend::Misbehaviour;
using backend::MisbehaviourKind;
using nlohmann::json;

class HostSyncTest : public HostTest {};

TEST_F(HostSyncTest, UploadsTheSampleBookOnceAndThenOnlyWhatChanged) {
  fs::copy(QUILLFOLD_SAMPLE_BOOK, folder.path("book"),
           fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  const auto planned = run({"plan"}).output.size();
  ASSERT_GE(planned, 300u);
  const Outcome first = run({"sync"});
  ASSERT_EQ(first.status, 0) << first.output;
  EXPECT_EQ(first.output["contacts"], planned);
  EXPECT_EQ(first.output["uploaded"], planned);
  EXPECT_EQ(first.output["batches"], (planned + 19) / 20);

  const auto filed = filedRecords();
  const auto uploaded = backend.contacts("demo-user");
  ASSERT_EQ(uploaded.size(), planned);
  ASSERT_EQ(filed.size(), planned);
  for (const json& contact : uploaded) {
    EXPECT_EQ(contact.size(), 32u) << contact;
    const auto record = filed.find(contact["id"]);
    ASSERT_NE(record, filed.end()) << contact["id"];
    EXPECT_EQ(record->second.matchString, contact["match_string"]);
    EXPECT_EQ(record->second.contactHash, independentSHA256(contact["match_string"]));
  }

  EXPECT_EQ(run({"plan"}).output, json::array());
  EXPECT_EQ(run({"sync"}).output["uploaded"], 0);
  std::string person = folder.read("book/person-001.vcf");
  person.insert(person.find("END:VCARD"), "TEL:+1 212 555 0100\r\n");
  write("person-001.vcf", person);
  const json plan = run({"plan"}).output;
  ASSERT_EQ(plan.size(), 1u);
  EXPECT_EQ(plan[0]["upload"].size(), 32u);
  EXPECT_EQ(plan[0]["change_hash"], independentSHA256(plan[0]["match_string"]));
  EXPECT_EQ(run({"sync"}).output["uploaded"], 1);
  EXPECT_EQ(backend.contactCount("demo-user"), planned);
}

TEST_F(HostSyncTest, AKillInMidSyncLosesNothingAndRepeatsNothing) {
  std::string book;
  for (int i = 0; i < 100; ++i) {
    book += card(fmt::format("id-{}", i), fmt::format("Name{}", i), "+1 212 555 0100");
  }
  write("all.vcf", book);
  int batches = 0;
  std::promise<pid_t> started;
  setOnRequest([&, host = started.get_future().share()](const std::string& line) {
    if (line.find(kSyncPath) != std::string::npos && ++batches == 3) kill(host.get(), SIGKILL);
  });
  const ChildProgram program(QUILLFOLD_HOST_PROGRAM, arguments({"sync"}));
  started.set_value(program.id());
  EXPECT_EQ(program.exitStatus(), -SIGKILL);
  setOnRequest({});

  const std::size_t recorded = filedRecords().size();
  EXPECT_GE(recorded, 20u);
  EXPECT_LT(recorded, 100u);
  EXPECT_EQ(run({"sync"}).output["uploaded"], 100 - recorded);
  EXPECT_EQ(filedRecords().size(), 100u);
  EXPECT_EQ(backend.contactCount("demo-user"), 100u);
}

// Each fault ends the sync with the error that it stands for, and the next sync
// makes good for it.
TEST_F(HostSyncTest, EveryFaultOfTheBackendHasItsErrorAndIsMadeGood) {
  write("one.vcf", card("one", "Ann", "+1 212 555 0100"));
  struct Row {
    const char* path;
    Misbehaviour fault;
    int code;
    const char* text;
  };
  const auto status = [](int code, const char* body) {
    return Misbehaviour{.kind = MisbehaviourKind::kStatus, .status = code, .body = body};
  };
  const auto empty = [](int code) {
    return Misbehaviour{.kind = MisbehaviourKind::kEmpty, .status = code};
  };
  const Misbehaviour drop{.kind = MisbehaviourKind::kDrop};
  const Misbehaviour truncate{.kind = MisbehaviourKind::kTruncate};
  const Misbehaviour garbage{.kind = MisbehaviourKind::kGarbage};
  const char* token = "/api/v1/client/generate-token";
  const char* key = "/api/v1/client/validate-key";
  const char* source = "/api/v1/client/contact-source";
  const std::vector<Row> rows{
      {token, drop, 4, "Network error: "},
      {token, garbage, 2, "Error decoding the server response"},
      {token, status(200, "{}"), 1, "No data received from the server"},
      {token, status(503, ""), 3, "Server error 503: Server error"},
      {key, empty(401), 5, "Unauthorized request"},
      {key, empty(403), 6, "Authentication token has expired"},
      {key, garbage, 8, "Invalid response format"},
      {key, status(200, R"({"status":"ok","data":{"message":"no"}})"), 10, "no"},
      {source, truncate, 4, "Network error: "},
      {source, status(409, "duplicate key value violates unique constraint"), 3,
       "Server error 409: Raw response: duplicate key"},
      {kSyncPath, truncate, 4, "Network error: "},
      {kSyncPath, empty(204), 2, "Error decoding the server response"},
      {kSyncPath, status(200, R"({"data":{}})"), 2, "Error decoding the server response"},
      {kSyncPath, status(413, R"({"detail":"too big"})"), 3, "Server error 413: too big"},
      {kSyncPath, status(422, R"({"detail":[{"loc":["body",0,"id"],"msg":"bad","type":"t"}]})"), 3,
       "Server error 422: Validation error: body.0.id: bad: t"},
  };
  for (const Row& row : rows) {
    backend.setMisbehaviour(row.path, row.fault);
    const Outcome outcome = run({"sync"});
    EXPECT_EQ(outcome.status, 1) << row.path << ' ' << row.text;
    const json& error = outcome.output["error"];
    EXPECT_EQ(error["domain"], "com.quillfold.api");
    EXPECT_EQ(error["code"], row.code) << row.path << ' ' << error;
    EXPECT_TRUE(error["text"].get<std::string>().starts_with(row.text)) << error;
    backend.clearMisbehaviours();
  }
  EXPECT_TRUE(filedRecords().empty());
  EXPECT_EQ(run({"sync"}).output["uploaded"], 1);
}

}  // namespace
}  // namespace quillfold::testing
