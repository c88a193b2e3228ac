#include <examples/parameter_sweep/server/PartCutting.h>
#include <gtest/gtest.h>

namespace {

using namespace ParameterSweep;

constexpr std::size_t c_mebibyte = std::size_t{1} << 20U;

/// Each part begins where the one before ends, and all are numbered from 1.
void expectWhole(const std::vector<PartRecord>& parts, std::uint64_t total) {
  std::uint64_t first = 0;
  std::uint32_t number = 0;
  for (const PartRecord& part : parts) {
    EXPECT_EQ(part.number, ++number);
    EXPECT_EQ(part.first, first);
    EXPECT_GT(part.count, 0U);
    first += part.count;
  }
  EXPECT_EQ(first, total);
}

TEST(PartCuttingTest, SmallSweepIsOnePart) {
  const auto parts = cutParts({{400, 100000}}, 0, 4);
  EXPECT_EQ(parts.size(), 1U);
  expectWhole(parts, 400);
}

TEST(PartCuttingTest, PartsEndWherePackagesEndAndAreWorthTheirStart) {
  const std::vector<PackageSize> packages(12, {1000, c_mebibyte});
  const auto parts = cutParts(packages, 0, 1);
  EXPECT_EQ(parts.size(), 4U);
  EXPECT_EQ(parts[0].count, 3000U);
  expectWhole(parts, 12000);
}

TEST(PartCuttingTest, PartsAreEquallyLarge) {
  const std::vector<PackageSize> packages(13, {1000, c_mebibyte});
  const auto parts = cutParts(packages, 0, 1);
  ASSERT_EQ(parts.size(), 4U);
  for (const PartRecord& part : parts) {
    EXPECT_GE(part.count, 3000U);
    EXPECT_LE(part.count, 4000U);
  }
  expectWhole(parts, 13000);
}

TEST(PartCuttingTest, NoJobProgramIsLeftWithoutAPartAtTheEnd) {
  for (const std::size_t size : {21U, 22U, 23U, 24U}) {
    const std::vector<PackageSize> packages(3 * size, {10, c_mebibyte});
    EXPECT_EQ(cutParts(packages, 0, 4).size(), size / 4 * 4);
    EXPECT_EQ(cutParts(packages, 0, 100).size(), size);
    EXPECT_EQ(cutParts(packages, 0, 0).size(), size);
    expectWhole(cutParts(packages, 0, 4), 30 * size);
  }
}

TEST(PartCuttingTest, LargePackagesAreNotCutAndSmallOnesBehindThemAreNoPartsOfTheirOwn) {
  std::vector<PackageSize> packages(5, {1, 100});
  packages.insert(packages.begin(), {10, 9 * c_mebibyte});
  const auto parts = cutParts(packages, 0, 1);
  ASSERT_EQ(parts.size(), 2U);
  EXPECT_EQ(parts[0].count, 10U);
  expectWhole(parts, 15);
}

TEST(PartCuttingTest, SizeThatIsAskedForIsKeptWhateverThePackages) {
  const auto parts = cutParts({{3, 10}, {4, 10}}, 2, 3);
  EXPECT_EQ(parts.size(), 4U);
  expectWhole(parts, 7);
}

TEST(PartCuttingTest, ThereAreNeverTooManyParts) {
  for (const std::uint64_t total : {1000U, 1001U, 123457U}) {
    const auto parts = cutParts({{total, 10}}, 1, 1);
    EXPECT_LE(parts.size(), c_mostParts);
    expectWhole(parts, total);
  }
  const auto parts = cutParts(std::vector<PackageSize>(1500, {1, 3 * c_mebibyte}), 0, 3);
  EXPECT_EQ(parts.size(), 999U);
  expectWhole(parts, 1500);
}

}  // namespace
