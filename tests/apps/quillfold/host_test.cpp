// The host program's other commands and its manners.
#include <fstream>

#include "tests/apps/quillfold/host_fixture.h"

namespace quillfold::testing {
namespace {

using nlohmann::json;

TEST_F(HostTest, WatchSyncsWhenTheAddressBookChanges) {
  write("one.vcf", card("one", "Ann", "+1 212 555 0100"));
  ChildProgram program(QUILLFOLD_HOST_PROGRAM, arguments({"--json", "watch"}));
  EXPECT_EQ(json::parse(program.line())["uploaded"], 1);
  write("two.vcf", card("two", "Ben", "+1 212 555 0101"));
  EXPECT_EQ(json::parse(program.line())["uploaded"], 1);
  program.signal(SIGINT);
  EXPECT_EQ(program.exitStatus(), 0);
  EXPECT_EQ(backend.contactCount(), 2u);
}

TEST_F(HostTest, WatchTakesSignalsForTheApplicationsLife) {
  write("one.vcf", card("one", "Ann", "+1 212 555 0100"));
  ChildProgram program(QUILLFOLD_HOST_PROGRAM, arguments({"watch"}));
  EXPECT_EQ(program.line(), "Watching. Interrupt to stop.\n");
  const auto text = [&program] {
    const std::string line = program.line();
    return line.substr(line.find("  ") + 2);
  };
  EXPECT_EQ(text(), "1 uploaded\n");
  program.signal(SIGUSR2);
  EXPECT_EQ(text(), "entered the background\n");
  program.signal(SIGUSR1);
  EXPECT_EQ(text(), "became active\n");
  program.signal(SIGTERM);
  EXPECT_EQ(program.exitStatus(), 0);
}

TEST_F(HostTest, DeferRunsTheTaskWhenItsTimeHasCome) {
  write("one.vcf", card("one", "Ann", "+1 212 555 0100"));
  const Outcome outcome = run({"--hurry", "defer"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, (json{{"success", true}, {"uploaded", 1}}));
  EXPECT_EQ(backend.contactCount(), 1u);
  EXPECT_EQ(run({"plan"}).output, json::array());
}

TEST_F(HostTest, ShowsContactsRecordsAndState) {
  write("one.vcf", card("one", "Ann", "+1 212 555 0100"));
  EXPECT_EQ(run({"status"}).output["healthy"], true);
  ASSERT_EQ(run({"sync"}).status, 0);
  const json list = run({"list"}).output;
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0]["display_name"], "Ann");
  EXPECT_EQ(list[0]["primary_info"], "+1 212 555 0100");
  const json shown = run({"show", "one"}).output;
  EXPECT_EQ(shown["change_hash"], list[0]["change_hash"]);
  EXPECT_EQ(shown["upload"]["phone_numbers"][0]["value"], "+1 212 555 0100");
  const json status = run({"status"}).output;
  EXPECT_EQ(status["uploaded"], 1);
  EXPECT_EQ(status["access"], "authorized");
}

TEST_F(HostTest, TellsFailureFromWrongUsage) {
  EXPECT_EQ(run({"show", "nobody"}).output["error"]["domain"], "CNErrorDomain");
  backend.stop();
  const Outcome unreachable = run({"sync"});
  EXPECT_EQ(unreachable.status, 1);
  EXPECT_EQ(unreachable.output["error"]["code"], 4);
  // Nobody is there to be asked, and no address book was named.
  ChildProgram denied(QUILLFOLD_HOST_PROGRAM, {"--home", folder.path("other"), "--json", "plan"});
  EXPECT_EQ(json::parse(denied.rest())["error"]["code"], 1006);
  EXPECT_EQ(denied.exitStatus(), 1);
  const std::vector<std::string> wrong[] = {{},
                                            {"show"},
                                            {"sync", "now"},
                                            {"--batch-size", "0", "sync"},
                                            {"--connect", "here", "sync"},
                                            {"--environment", "moon", "sync"},
                                            {"--nothing", "sync"},
                                            {"dance"}};
  for (const auto& words : wrong) {
    EXPECT_EQ(ChildProgram(QUILLFOLD_HOST_PROGRAM, words).exitStatus(), 2)
        << ::testing::PrintToString(words);
  }
}

}  // namespace
}  // namespace quillfold::testing
