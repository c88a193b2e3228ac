// What is wrong with a document, error by error, behind the failure of a parse.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/PackageErrors.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>

#include <optional>
#include <string>
#include <type_traits>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace {

using Drelvan::DvExceptionNested;
using Drelvan::PackageErrors;
using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::reportedMessages;
using RequestXmlHelperTests::takeEntries;
using Severity = PackageErrors::Severity;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using TestSupport::request;
using TestSupport::requestPackage;

static_assert(std::is_nothrow_copy_constructible_v<PackageErrors> && std::is_nothrow_copy_assignable_v<PackageErrors>);
static_assert(std::is_base_of_v<std::exception, PackageErrors>);

std::vector<PackageErrors::Report> numbered(std::size_t count) {
  std::vector<PackageErrors::Report> reports;
  for (std::size_t number = 1; number <= count; ++number) {
    reports.push_back({Severity::Error, number, 7, "wrong " + std::to_string(number)});
  }
  return reports;
}

TEST(PackageErrors, ShowEachReportOnALineOfItsOwn) {
  const PackageErrors errors(
      {{Severity::Warning, 1, 2, "odd"}, {Severity::Error, 3, 4, "wrong"}, {Severity::FatalError, 5, 6, "broken"}}, 3);
  EXPECT_STREQ(errors.what(),
               "warning at line 1, char 2: odd\nerror at line 3, char 4: wrong\nfatal error at line 5, char 6: broken");
  EXPECT_EQ(errors.getCount(), 3U);
}

TEST(PackageErrors, SayHowManyMoreThereWere) {
  const PackageErrors errors(numbered(2), 6);
  EXPECT_STREQ(errors.what(), "error at line 1, char 7: wrong 1\nerror at line 2, char 7: wrong 2\nand 4 more");
}

TEST(PackageErrors, AreSharedByTheirCopies) {
  std::optional<PackageErrors> errors(PackageErrors(numbered(1), 1));
  const PackageErrors copy(*errors);
  PackageErrors assigned(numbered(3), 3);
  assigned = copy;
  EXPECT_EQ(&copy.getReports(), &errors->getReports());
  errors.reset();
  EXPECT_EQ(assigned.getReports().at(0).message, "wrong 1");
  EXPECT_STREQ(assigned.what(), copy.what());
}

/// The errors that a failed parse nests.
class PackageErrorsOfAParse : public HelperTest {
 protected:
  static PackageErrors errorsOf(const std::string& text, bool validate = true) {
    RequestXmlHelper& parser = helper();
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "test");
    try {
      const TestSupport::Document unexpected(parser.parse(source, validate));
    } catch (const DvExceptionNested& exception) {
      return nestedIn(exception);
    }
    ADD_FAILURE() << "accepted: " << text;
    return {{}, 0};
  }

  static PackageErrors nestedIn(const DvExceptionNested& exception) {
    try {
      std::rethrow_exception(exception.getNested());
    } catch (const PackageErrors& errors) {
      EXPECT_EQ(errors.getReports().size() < PackageErrors::c_maxReports,
                errors.getReports().size() == errors.getCount());
      return errors;
    }
  }
};

TEST_F(PackageErrorsOfAParse, HaveWhatWasLoggedInItsOrder) {
  const PackageErrors errors = errorsOf("<DV_RequestPackage xmlns='" + TestSupport::c_targetNamespace +
                                        "' version='4'>\n  <wrong/>\n</DV_RequestPackage>");
  const std::vector<std::string> logged = reportedMessages(takeEntries());
  ASSERT_GE(logged.size(), 5U);
  ASSERT_THAT(errors.getReports(), SizeIs(logged.size()));
  EXPECT_EQ(errors.getCount(), logged.size());
  for (std::size_t index = 0; index < logged.size(); ++index) {
    EXPECT_EQ(errors.getReports()[index].message, logged[index]);
    EXPECT_EQ(errors.getReports()[index].severity, Severity::Error);
  }
  EXPECT_EQ(errors.getReports().front().line, 1U);
  EXPECT_EQ(errors.getReports().back().line, 3U);
  EXPECT_THAT(errors.what(), HasSubstr("error at line 2, char 11: "));
}

TEST_F(PackageErrorsOfAParse, KeepTheFirstTwentyAndCountAll) {
  std::string wrong;
  for (int number = 0; number < 30; ++number) {
    wrong += "<wrong" + std::to_string(number) + "/>";
  }
  const PackageErrors errors = errorsOf(requestPackage(wrong).text());
  EXPECT_THAT(errors.getReports(), SizeIs(PackageErrors::c_maxReports));
  EXPECT_EQ(errors.getCount(), reportedMessages(takeEntries()).size());
  EXPECT_GT(errors.getCount(), 30U);
  EXPECT_THAT(errors.getReports().front().message, HasSubstr("wrong0"));
}

TEST_F(PackageErrorsOfAParse, TellFatalErrorsAndLimits) {
  EXPECT_EQ(errorsOf("<open>", false).getReports().at(0).severity, Severity::FatalError);
  EXPECT_THAT(errorsOf("<!DOCTYPE r><r/>").what(),
              HasSubstr("fatal error at line 1, char 13: A document type declaration is not accepted"));
}

TEST_F(PackageErrorsOfAParse, AreOfOneDocument) {
  errorsOf(requestPackage("<wrong/>").text());
  EXPECT_EQ(errorsOf("<open>", false).getCount(), 1U);
  parseValid();
  EXPECT_EQ(errorsOf("<open>", false).getCount(), 1U);
}

TEST_F(PackageErrorsOfAParse, OutliveThePlatform) {
  const PackageErrors errors = errorsOf("<open>");
  RequestXmlHelper::reset(true);
  EXPECT_THAT(errors.what(), HasSubstr("fatal error at line 1"));
}

TEST_F(PackageErrorsOfAParse, LeaveTheTextOfTheFailureToTheLastOne) {
  try {
    helper().parse(requestPackage(request().text() + "<wrong/>").without("clientId").text());
    ADD_FAILURE() << "accepted";
  } catch (const DvExceptionNested& exception) {
    const PackageErrors errors = nestedIn(exception);
    ASSERT_GE(errors.getCount(), 2U);
    EXPECT_EQ(exception.getMessage(), "Errors occurred while parsing input: " + errors.getReports().back().message);
    EXPECT_THAT(exception.describe(), HasSubstr(errors.getReports().front().message));
  }
}

}  // namespace
