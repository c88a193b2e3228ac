#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <service/Identifier.h>
#include <sys/wait.h>
#include <tests/support/Pattern.h>
#include <unistd.h>

#include <cstddef>
#include <set>
#include <string>
#include <type_traits>

namespace {

using Drelvan::UniqueID;

static_assert(std::is_default_constructible_v<UniqueID> && std::is_destructible_v<UniqueID>);

TEST(UniqueIdGenerate, MakesThreeGroupsOfLowerCaseDigits) {
  const TestSupport::Pattern form("[0-9a-f]{16}-[0-9a-f]{16}-[0-9a-f]{16}");
  for (int round = 0; round < 1000; ++round) {
    const std::string id = UniqueID::generateId();
    EXPECT_TRUE(form.matches(id)) << id;
    EXPECT_TRUE(UniqueID().idCheckOK(id)) << id;
  }
}

TEST(UniqueIdGenerate, NeverRepeatsAnId) {
  constexpr std::size_t count = 200000;
  std::set<std::string> ids;
  for (std::size_t index = 0; index < count; ++index) {
    ids.insert(UniqueID::generateId());
  }
  EXPECT_EQ(ids.size(), count);
}

TEST(UniqueIdGenerate, UsesEveryDigitInEveryPlace) {
  std::set<char> seen[50];
  for (int round = 0; round < 2000; ++round) {
    const std::string id = UniqueID::generateId();
    ASSERT_EQ(id.size(), 50U);
    for (std::size_t place = 0; place < id.size(); ++place) {
      seen[place].insert(id[place]);
    }
  }
  for (std::size_t place = 0; place < 50; ++place) {
    EXPECT_EQ(seen[place].size(), place == 16 || place == 33 ? 1U : 16U) << place;
  }
}

TEST(UniqueIdGenerate, UsesEveryPairOfDigits) {
  std::set<std::string> seen;
  for (int round = 0; round < 2000; ++round) {
    const std::string group = UniqueID::generateId().substr(0, 16);
    for (std::size_t place = 0; place < group.size(); place += 2) {
      seen.insert(group.substr(place, 2));
    }
  }
  EXPECT_EQ(seen.size(), 256U);
}

TEST(UniqueIdGenerate, DiffersBetweenParentAndChildren) {
  constexpr int children = 5;
  constexpr std::size_t idsOfAChild = 20;
  UniqueID::generateId();
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  for (int child = 0; child < children; ++child) {
    if (::fork() == 0) {
      std::string text;
      for (std::size_t index = 0; index < idsOfAChild; ++index) {
        text += UniqueID::generateId();
      }
      ::_exit(::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
  }
  ::close(ends[1]);
  std::set<std::string> ids;
  for (std::size_t index = 0; index < idsOfAChild; ++index) {
    ids.insert(UniqueID::generateId());
  }
  std::string text(children * idsOfAChild * 50, '\0');
  std::size_t done = 0;
  for (ssize_t count = 1; count > 0 && done < text.size(); done += static_cast<std::size_t>(count)) {
    count = ::read(ends[0], &text[done], text.size() - done);
    ASSERT_GE(count, 0);
  }
  ::close(ends[0]);
  for (int child = 0; child < children; ++child) {
    ::wait(nullptr);
  }
  ASSERT_EQ(done, text.size());
  for (std::size_t place = 0; place < text.size(); place += 50) {
    ids.insert(text.substr(place, 50));
  }
  EXPECT_EQ(ids.size(), (children + 1) * idsOfAChild);
}

TEST(UniqueIdCheck, AcceptsExactlyThreeGroupsOfSixteenDigits) {
  const std::string good = "0123456789abcdef-0123456789ABCDEF-aAbBcCdDeEfF0189";
  EXPECT_TRUE(UniqueID().idCheckOK(good));
  const std::string group = "0123456789abcdef";
  const std::string bad[] = {"",
                             group,
                             group + "-" + group,
                             group + "-" + group + "-",
                             group + "-" + group + "-" + group + "-" + group,
                             group + "-" + group + "-" + group.substr(1),
                             group + "0-" + group + "-" + group.substr(1),
                             group + "_" + group + "_" + group,
                             group + group + group + "--",
                             good + "\n",
                             good + " ",
                             " " + good,
                             "\n" + good,
                             good + good,
                             "{" + good + "}",
                             std::string(50, '0'),
                             std::string(50, '-'),
                             good.substr(0, 49) + "g",
                             good.substr(0, 49) + "G",
                             good.substr(0, 49) + "/",
                             good.substr(0, 49) + ":",
                             good.substr(0, 49) + "@",
                             good.substr(0, 49) + "`",
                             good.substr(0, 49) + '\0',
                             good.substr(0, 49) + "\xC3"};
  for (const std::string& id : bad) {
    EXPECT_FALSE(UniqueID().idCheckOK(id)) << id;
  }
}

RC_GTEST_PROP(UniqueIdCheckProperty, AgreesWithThePattern, ()) {
  static const TestSupport::Pattern form("[0-9a-fA-F]{16}-[0-9a-fA-F]{16}-[0-9a-fA-F]{16}");
  std::string id = UniqueID::generateId();
  const int changes = *rc::gen::inRange(0, 3);
  for (int change = 0; change < changes; ++change) {
    const auto place = *rc::gen::inRange<std::size_t>(0, id.size());
    switch (*rc::gen::inRange(0, 3)) {
      case 0:
        id[place] = *rc::gen::oneOf(rc::gen::arbitrary<char>(), rc::gen::elementOf(std::string("0aF-g")));
        break;
      case 1:
        id.erase(place, 1);
        break;
      default:
        id.insert(place, 1, *rc::gen::elementOf(std::string("0aF-")));
        break;
    }
  }
  RC_ASSERT(UniqueID().idCheckOK(id) == form.matches(id));
}

}  // namespace
