// The command line, the process around the server, and its file.
#include <csignal>

#include "apps/backend/options.h"
#include "apps/backend/store/database.h"
#include "foundation/format.h"
#include "tests/apps/backend/backend_fixture.h"
#include "tests/support/child_program.h"
#include "tests/support/temporary_folder.h"

namespace quillfold::backend {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

std::string told(const CommandLine& line) {
  const BackendOptions& options = line.options;
  std::string out = fmt::format("{} {} {} [{}] {} {} {}", options.host, options.port,
                                options.database, fmt::join(options.apiKeys, ", "),
                                options.tokenSeconds.value_or(-1), options.demo, line.quiet);
  for (const auto& [path, what] : line.misbehaviours)
    out += fmt::format(" {}: {} {}", path, what.delay.count(), what.status);
  return out;
}

TEST(CommandLineTest, ReadsWhatIsAskedFor) {
  EXPECT_EQ(told(parseCommandLine({})), "127.0.0.1 8080 :memory: [] -1 true false");
  EXPECT_EQ(
      told(parseCommandLine({"--port=010", "--host", "::1", "--api-key", "a", "--api-key=b=c",
                             "--token-seconds", "5", "--database", "f", "--misbehave",
                             "/x=delay:20", "--misbehave=/y=status:418", "--quiet", "--no-demo"})),
      "::1 10 f [a, b=c] 5 false true /x: 20 0 /y: 0 418");
}

TEST(CommandLineTest, RefusesWhatMakesNoSense) {
  for (const std::string bad :
       {"--port", "--port=65536", "--port=-1", "--port=8o", "--nothing", "word", "--quiet=yes",
        "--api-key=", "--database=", "--token-seconds=1.5", "--misbehave=x", "--misbehave=/x",
        "--misbehave=/x=y", "--misbehave=/x=drop:1", "--misbehave=/x=status:1000",
        "--misbehave=/x=delay:soon"}) {
    EXPECT_THROW(parseCommandLine({bad}), UsageError) << bad;
  }
}

struct Program : ChildProgram {
  explicit Program(std::vector<std::string> arguments)
      : ChildProgram(QUILLFOLD_BACKEND_PROGRAM, std::move(arguments)) {}
};

TEST(ProgramTest, SaysWhereItListensAndEndsOnASignal) {
  for (const int number : {SIGINT, SIGTERM}) {
    Program program({"--port", "0", "--quiet", "--misbehave", "/x=status:418"});
    const std::string line = program.line();
    EXPECT_THAT(line, MatchesRegex("quillfold-backend listening on http://127.0.0.1:[0-9]+\n"));
    const int port = std::stoi(line.substr(line.rfind(':') + 1));
    httplib::Client client("127.0.0.1", port);
    client.set_keep_alive(true);
    EXPECT_EQ(client.Get("/x")->status, 418);
    program.signal(number);
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_EQ(program.line(), "") << "One line is all it prints.";
  }
}

TEST(ProgramTest, TellsWrongUsageFromFailure) {
  EXPECT_EQ(Program({"--port", "many"}).exitStatus(), 2);
  EXPECT_EQ(Program({"--port", "0", "--database", "/nowhere/at/all"}).exitStatus(), 1);
  EXPECT_EQ(Program({"--port", "0", "--host", "192.0.2.1"}).exitStatus(), 1);
  Program help({"--help"});
  EXPECT_THAT(help.line(), HasSubstr("A development backend"));
  EXPECT_EQ(help.exitStatus(), 0);
}

class DatabaseFileTest : public BackendTest {
 protected:
  DatabaseFileTest() { options.database = folder.path("state.db"); }
  const TemporaryFolder folder;
};

TEST_F(DatabaseFileTest, KeepsEverythingOverARestart) {
  signIn();
  const json source = sourceRequest(organization());
  EXPECT_EQ(post(kSourcePath, source).status, 200);
  sync({uploadContact("c1")});
  restart();
  EXPECT_EQ(get(kUserPath).status, 200) << "The token is still good.";
  EXPECT_EQ(post(kSourcePath, source).status, 500);
  EXPECT_EQ(server().contacts("u1"), std::vector<json>{uploadContact("c1")});
}

TEST_F(DatabaseFileTest, FindsPeopleInTheFileOfTheFirstVersion) {
  signIn();
  sync({uploadContact("c1")});
  signIn("u2", {{"email", "Ann@Home"}});
  server().stop();
  // The second version only added these.
  Database(options.database)
      .execute(
          "DROP VIEW stated_user_addresses; DROP VIEW stated_contact_addresses; DROP VIEW peers;"
          "DROP VIEW known_users; DROP VIEW shared_contacts; DROP TABLE user_addresses;"
          "DROP TABLE contact_addresses; DROP TABLE follows; DROP TABLE events;"
          "DROP TABLE demo_circles; PRAGMA user_version = 1");
  restart();
  signIn();
  EXPECT_THAT(each("/canonical_contact/id", "client/contacts-app-users"),
              ::testing::ElementsAre("u2"));
}

TEST_F(DatabaseFileTest, RefusesFilesThatAreNotItsOwn) {
  folder.write("state.db", std::string(5000, 'x'));
  EXPECT_THROW(BackendServer{options}, std::runtime_error);
  options.database = folder.path("newer.db");
  Database(options.database).execute("PRAGMA user_version = 1000");
  EXPECT_THAT([&] { BackendServer{options}; },
              ::testing::ThrowsMessage<std::runtime_error>(HasSubstr("version 1000")));
}

}  // namespace
}  // namespace quillfold::backend
