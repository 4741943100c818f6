// The command line, the process around the server, and its file.
#include <csignal>
#include <filesystem>
#include <fstream>

#include "apps/backend/options.h"
#include "apps/backend/store/database.h"
#include "tests/apps/backend/backend_fixture.h"
#include "tests/support/child_program.h"

namespace quillfold::backend {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(CommandLineTest, ReadsWhatIsAskedFor) {
  const CommandLine none = parseCommandLine({});
  EXPECT_EQ(none.options.host, "127.0.0.1");
  EXPECT_EQ(none.options.port, 8080);
  EXPECT_EQ(none.options.database, ":memory:");
  EXPECT_FALSE(none.quiet || none.options.tokenSeconds);
  EXPECT_TRUE(none.options.demo && !parseCommandLine({"--no-demo"}).options.demo);

  const CommandLine all = parseCommandLine(
      {"--port=0", "--host", "::1", "--api-key", "a", "--api-key=b=c", "--token-seconds", "5",
       "--database", "f", "--misbehave", "/x=delay:20", "--misbehave=/y=status:418", "--quiet"});
  EXPECT_EQ(all.options.port, 0);
  EXPECT_EQ(all.options.apiKeys, (std::vector<std::string>{"a", "b=c"}));
  EXPECT_EQ(all.options.tokenSeconds, 5);
  ASSERT_EQ(all.misbehaviours.size(), 2u);
  EXPECT_EQ(all.misbehaviours[0].path, "/x");
  EXPECT_EQ(all.misbehaviours[0].misbehaviour.delay, std::chrono::milliseconds(20));
  EXPECT_EQ(all.misbehaviours[1].misbehaviour.status, 418);
}

TEST(CommandLineTest, RefusesWhatMakesNoSense) {
  const std::vector<std::string> bad[] = {{"--port"},
                                          {"--port", "65536"},
                                          {"--port", "-1"},
                                          {"--port", "8o"},
                                          {"--nothing"},
                                          {"word"},
                                          {"--quiet=yes"},
                                          {"--api-key", ""},
                                          {"--database="},
                                          {"--token-seconds", "1.5"},
                                          {"--misbehave", "x"},
                                          {"--misbehave", "/x"},
                                          {"--misbehave=/x=y"},
                                          {"--misbehave=/x=drop:1"},
                                          {"--misbehave=/x=status:1000"},
                                          {"--misbehave=/x=delay:soon"}};
  for (const auto& arguments : bad) {
    EXPECT_THROW(parseCommandLine(arguments), UsageError) << testing::PrintToString(arguments);
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

    Program second({"--port", std::to_string(port)});
    EXPECT_EQ(second.exitStatus(), 1);
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
  EXPECT_THAT(help.line(), HasSubstr("usage: quillfold-backend"));
  EXPECT_EQ(help.exitStatus(), 0);
}

class DatabaseFileTest : public BackendTest {
 protected:
  void SetUp() override {
    std::string directory = (std::filesystem::temp_directory_path() / "backendXXXXXX").string();
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    directory_ = directory;
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  BackendOptions options() const {
    BackendOptions withFile;
    withFile.database = (directory_ / "state.db").string();
    return withFile;
  }

  std::filesystem::path directory_;
};

TEST_F(DatabaseFileTest, KeepsEverythingOverARestart) {
  startWith(options());
  signIn();
  const json source = sourceRequest(organization());
  EXPECT_EQ(post(kSourcePath, source).status, 200);
  sync({uploadContact("c1")});
  startWith(options());
  EXPECT_EQ(get(kUserPath).status, 200) << "The token is still good.";
  EXPECT_EQ(post(kSourcePath, source).status, 500);
  EXPECT_EQ(server().contacts("u1"), std::vector<json>{uploadContact("c1")});
}

TEST_F(DatabaseFileTest, FindsPeopleInTheFileOfTheFirstVersion) {
  startWith(options());
  signIn();
  sync({uploadContact("c1")});
  signIn("u2", {{"email", "A@B"}});
  startWith({});
  // The second version only added these.
  Database(options().database)
      .execute(
          "DROP VIEW stated_user_addresses; DROP VIEW stated_contact_addresses; DROP VIEW peers;"
          "DROP VIEW known_users; DROP VIEW shared_contacts; DROP TABLE user_addresses;"
          "DROP TABLE contact_addresses; DROP TABLE follows; DROP TABLE events;"
          "DROP TABLE demo_circles; PRAGMA user_version = 1");
  startWith(options());
  signIn();
  const json found = get("/api/v1/client/contacts-app-users").body();
  EXPECT_EQ(found["data"][0]["canonical_contact"]["id"], "u2") << found;
}

TEST_F(DatabaseFileTest, RefusesFilesThatAreNotItsOwn) {
  std::ofstream(options().database) << std::string(5000, 'x');
  EXPECT_THROW(BackendServer{options()}, std::runtime_error);
  std::filesystem::remove(options().database);
  Database(options().database).execute("PRAGMA user_version = 1000");
  try {
    BackendServer{options()};
    FAIL() << "a newer version's file was opened";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("version 1000"));
  }
}

}  // namespace
}  // namespace quillfold::backend
