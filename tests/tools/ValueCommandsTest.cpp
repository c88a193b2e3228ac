#include <gtest/gtest.h>
#include <tests/support/Pattern.h>
#include <tests/tools/Program.h>

#include <string>
#include <vector>

namespace {

using TestSupport::dvrequest;
using TestSupport::ProgramRun;

const std::string c_uniqueId = "0123456789abcdef-0011223344556677-8899aabbccddeeff";
const std::string c_jobId = "Job_0123456789#" + c_uniqueId;

TEST(JobIdCommand, MakesIdsThatItAccepts) {
  const ProgramRun made = dvrequest({"job-id", "new", "--prefix", "My_Job"});
  EXPECT_EQ(made.exitCode, 0);
  const TestSupport::Pattern form("My_Job_([0-9a-f]{10})#([0-9a-f]{16}-[0-9a-f]{16}-[0-9a-f]{16})\n");
  const std::vector<std::string> match = form.groupsOf(made.output);
  ASSERT_FALSE(match.empty()) << made.output;
  EXPECT_EQ(match[1], match[2].substr(0, 10));
  const std::string text = made.output.substr(0, made.output.size() - 1);
  EXPECT_EQ(dvrequest({"job-id", "check", text}).exitCode, 0);
  EXPECT_NE(dvrequest({"job-id", "new", "--prefix", "My_Job"}).output, made.output);
}

TEST(JobIdCommand, RefusesPrefixesThatSpoilTheId) {
  for (const char* prefix : {"", "a#b", "a<b", "a&b", "Invalid"}) {
    const ProgramRun run = dvrequest({"job-id", "new", "--prefix", prefix});
    EXPECT_EQ(run.exitCode, 2) << prefix;
    EXPECT_EQ(run.output, "") << prefix;
    EXPECT_NE(run.errors.find("prefix"), std::string::npos) << run.errors;
  }
}

TEST(JobIdCommand, ShowsAValidId) {
  const ProgramRun run = dvrequest({"job-id", "check", c_jobId});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, "valid\n  name       Job_0123456789\n  unique id  " + c_uniqueId + "\n");
}

TEST(JobIdCommand, SaysWhyATextIsNoJobId) {
  struct Bad {
    std::string text;
    std::string reason;
  };
  for (const Bad& bad : std::vector<Bad>{{"Job", "Invalid value for -jobId"},
                                         {"Job_0123456789#x", "Invalid UniqueID in -jobId"},
                                         {"Job_abcdefabcd#" + c_uniqueId, "Invalid name in -jobId"},
                                         {"#" + c_uniqueId, "Invalid name in -jobId"},
                                         {"x#" + c_uniqueId, "The name is shorter than '_' and ten characters"},
                                         {"Invalid_0123456789#" + c_uniqueId, "The prefix 'Invalid' marks an id"}}) {
    for (const char* command : {"check", "xml"}) {
      const ProgramRun run = dvrequest({"job-id", command, bad.text});
      EXPECT_EQ(run.exitCode, 1) << bad.text;
      EXPECT_EQ(run.output, "") << bad.text;
      EXPECT_EQ(run.errors.rfind("dvrequest: " + bad.reason, 0), 0U) << run.errors;
    }
  }
}

TEST(JobIdCommand, WritesTheXmlForm) {
  const ProgramRun run = dvrequest({"job-id", "xml", c_jobId});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, "<jobId>\n  <id>" + c_uniqueId + "</id>\n  <name>Job_0123456789</name>\n</jobId>\n");
}

TEST(JobIdCommand, EscapesTheNameInTheXmlForm) {
  const ProgramRun run = dvrequest({"job-id", "xml", "A<&>_0123456789#" + c_uniqueId});
  EXPECT_NE(run.output.find("<name>A&lt;&amp;&gt;_0123456789</name>"), std::string::npos) << run.output;
}

TEST(JobIdCommand, ExplainsWrongUse) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"job-id"}, {"job-id", "new"}, {"job-id", "check"}, {"job-id", "make", "--prefix", "a"}}) {
    EXPECT_EQ(dvrequest(arguments).exitCode, 2);
  }
}

TEST(HostCommand, TellsAddressesFromNames) {
  const ProgramRun run = dvrequest({"host", "check", "10.20.7.30", "127.0.0.1", "sim-03.lab.example", "010.1.1.1"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output,
            "10.20.7.30: IPv4 address\n"
            "127.0.0.1: IPv4 address of this machine itself (loopback)\n"
            "sim-03.lab.example: host name\n"
            "010.1.1.1: IPv4 address, in a spelling that others may read differently\n");
}

TEST(HostCommand, RefusesWhatIsNeither) {
  for (const char* text : {"300.1.1.1", "1.2.3", "", " alpha", "al pha", "-alpha", "alpha.", "a..b", "::1"}) {
    const ProgramRun run = dvrequest({"host", "check", "--", text});
    EXPECT_EQ(run.exitCode, 1) << text;
    EXPECT_NE(run.output.find("neither"), std::string::npos) << text << run.output;
  }
  EXPECT_EQ(dvrequest({"host", "check", "10.0.0.1", "300.1.1.1"}).exitCode, 1);
  EXPECT_EQ(dvrequest({"host", "check"}).exitCode, 2);
}

}  // namespace
