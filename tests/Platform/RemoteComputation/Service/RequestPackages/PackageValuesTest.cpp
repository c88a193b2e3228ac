#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace {

using Drelvan::fromTimestampText;
using Drelvan::Timestamp;
using Drelvan::toTimestampText;
using Drelvan::XmlDateTime;
using RequestPackagesTests::failureOf;
using std::chrono::microseconds;

const std::string c_first = "UTC/ISO_0000-01-01T00:00:00.000000";
const std::string c_last = "UTC/ISO_9999-12-31T23:59:59.999999";

void expectOutsideTheYears(Timestamp time) {
  EXPECT_EQ(failureOf([&] { toTimestampText(time); }),
            std::to_string(time.time_since_epoch().count()) +
                " microseconds since 1970 are outside the years 0 to 9999, which a DVTimestamp can name");
}

TEST(PackageValuesTest, TimestampTextsHaveTheYears0To9999) {
  EXPECT_EQ(toTimestampText(fromTimestampText(c_first)), c_first);
  EXPECT_EQ(toTimestampText(fromTimestampText(c_last)), c_last);
  expectOutsideTheYears(fromTimestampText(c_first) - microseconds(1));
  expectOutsideTheYears(fromTimestampText(c_last) + microseconds(1));
  expectOutsideTheYears(Timestamp::min());
  expectOutsideTheYears(Timestamp::max());
}

TEST(PackageValuesTest, OtherTextsAreNoTimestamps) {
  for (const std::string text : {"", "2024-05-07T13:45:09", "UTC/ISO_2024-05-07", "UTC/ISO_2024-02-30T00:00:00",
                                 "UTC/ISO_2024-05-07T13:45:09 ", "UTC/ISO_2024-05-07T24:00:00"}) {
    EXPECT_EQ(failureOf([&] { fromTimestampText(text); }),
              "'" + text + "' is no date and time in the form UTC/ISO_2024-05-07T13:45:09");
  }
}

XmlDateTime newYear(std::int32_t year) {
  XmlDateTime value;
  value.year = year;
  value.month = 1;
  value.day = 1;
  value.zone = std::chrono::minutes(0);
  return value;
}

TEST(PackageValuesTest, DatesAndTimesOutsideTheRangeOfATimestampAreRefused) {
  for (const std::int32_t year : {290'001, -290'001, 2'147'483'647, -2'147'483'647}) {
    EXPECT_EQ(failureOf([&] { newYear(year).toTimestamp(); }),
              "the year " + std::to_string(year) + " is outside the range of a Timestamp");
  }
  for (const std::int32_t year : {290'000, -290'000}) {
    EXPECT_EQ(XmlDateTime::fromTimestamp(newYear(year).toTimestamp()), newYear(year));
  }
}

}  // namespace
