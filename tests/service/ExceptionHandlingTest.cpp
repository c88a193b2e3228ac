#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>

#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using Drelvan::DvException;
using Drelvan::DvExceptionNested;

static_assert(std::is_base_of_v<std::exception, DvException> && std::is_base_of_v<DvException, DvExceptionNested>);
static_assert(std::has_virtual_destructor_v<DvExceptionNested>);
static_assert(std::is_nothrow_copy_constructible_v<DvException> && std::is_nothrow_copy_assignable_v<DvException>);
static_assert(std::is_nothrow_copy_constructible_v<DvExceptionNested>);
static_assert(std::is_nothrow_copy_assignable_v<DvExceptionNested>);
static_assert(std::is_nothrow_move_constructible_v<DvExceptionNested>);

template <typename Exception>
class AnyDvException : public ::testing::Test {};

using Exceptions = ::testing::Types<DvException, DvExceptionNested>;
TYPED_TEST_SUITE(AnyDvException, Exceptions, );

TYPED_TEST(AnyDvException, KeepsItsFiveArguments) {
  const TypeParam exception("a message", "a group", "ns::function", "folder/file.cpp", 42);
  EXPECT_STREQ(exception.what(), "a message");
  EXPECT_EQ(exception.getMessage(), "a message");
  EXPECT_EQ(exception.getGroup(), "a group");
  EXPECT_EQ(exception.getFunction(), "ns::function");
  EXPECT_EQ(exception.getFile(), "folder/file.cpp");
  EXPECT_EQ(exception.getLine(), 42);
}

TYPED_TEST(AnyDvException, CopiesTheTextsThatItIsGiven) {
  std::string message = "before";
  const TypeParam exception(message.c_str(), message.c_str(), message.c_str(), message.c_str(), 1);
  message = "after!";
  EXPECT_STREQ(exception.what(), "before");
  EXPECT_EQ(exception.getGroup(), "before");
  EXPECT_EQ(exception.getFunction(), "before");
  EXPECT_EQ(exception.getFile(), "before");
}

TYPED_TEST(AnyDvException, TakesNullAsEmpty) {
  const TypeParam exception(nullptr, nullptr, nullptr, nullptr, 0);
  EXPECT_STREQ(exception.what(), "");
  EXPECT_EQ(exception.getGroup(), "");
  EXPECT_EQ(exception.getFunction(), "");
  EXPECT_EQ(exception.getFile(), "");
  EXPECT_EQ(exception.getLine(), 0);
}

TYPED_TEST(AnyDvException, IsWholeAfterCopiesAndMoves) {
  TypeParam exception("a message", "g", "f", "file", 1);
  const TypeParam copy(exception);
  const TypeParam moved(std::move(exception));
  TypeParam assigned("other", "", "", "", 2);
  assigned = moved;
  const TypeParam& same = assigned;
  assigned = same;
  for (const TypeParam* each : std::initializer_list<const TypeParam*>{&exception, &copy, &moved, &same}) {
    EXPECT_STREQ(each->what(), "a message");
    EXPECT_EQ(each->getGroup(), "g");
    EXPECT_EQ(each->getLine(), 1);
  }
}

TYPED_TEST(AnyDvException, OutlivesItsOriginal) {
  std::exception_ptr kept;
  try {
    throw TypeParam("a message", "g", "f", "file", 1);
  } catch (const DvException& exception) {
    kept = std::make_exception_ptr(static_cast<const TypeParam&>(exception));
  }
  EXPECT_THROW(std::rethrow_exception(kept), TypeParam);
}

TEST(DvExceptionNested, IsCaughtAsEachOfItsKinds) {
  const auto raise = [] { throw DvExceptionNested("text", "g", "f", "file", 1); };
  EXPECT_THROW(raise(), DvExceptionNested);
  try {
    raise();
  } catch (const DvException& exception) {
    EXPECT_STREQ(exception.what(), "text");
  }
  try {
    raise();
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "text");
  }
}

TEST(DvExceptionNested, NestsNothingOutsideAHandler) {
  const DvExceptionNested exception("text", "g", "ns::f", "file", 1);
  EXPECT_EQ(exception.getNested(), nullptr);
  EXPECT_EQ(exception.describe(), "text [g] ns::f (file:1)");
}

/// Throws `inner` and returns what nests it.
template <typename Inner>
DvExceptionNested nesting(const Inner& inner) {
  try {
    throw inner;
  } catch (...) {
    return {"outer", "g", "ns::f", "outer.cpp", 1};
  }
}

TEST(DvExceptionNested, KeepsTheExceptionBeingHandled) {
  const DvExceptionNested exception = nesting(std::runtime_error("inner"));
  try {
    std::rethrow_exception(exception.getNested());
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& inner) {
    EXPECT_STREQ(inner.what(), "inner");
  }
  const DvExceptionNested copy(exception);
  EXPECT_EQ(copy.getNested(), exception.getNested());
  DvExceptionNested assigned("x", "", "", "", 0);
  assigned = copy;
  EXPECT_EQ(assigned.getNested(), exception.getNested());
  EXPECT_STREQ(exception.what(), "outer");
}

TEST(DvExceptionNested, DescribesTheWholeChain) {
  const std::string outer = "outer [g] ns::f (outer.cpp:1)";
  EXPECT_EQ(nesting(std::runtime_error("inner")).describe(), outer + "\ninner");
  EXPECT_EQ(nesting(7).describe(), outer + "\nan exception without a text");
  EXPECT_EQ(nesting(DvException("plain", "h", "ns::g", "plain.cpp", 2)).describe(),
            outer + "\nplain [h] ns::g (plain.cpp:2)");
  EXPECT_EQ(nesting(DvExceptionNested("alone", "h", "ns::g", "alone.cpp", 2)).describe(),
            outer + "\nalone [h] ns::g (alone.cpp:2)");
  EXPECT_EQ(nesting(nesting(nesting(std::logic_error("innermost")))).describe(),
            outer + "\n" + outer + "\n" + outer + "\ninnermost");
}

TEST(DvExceptionNested, DescribesAChainOfAnyLength) {
  DvExceptionNested exception("start", "g", "f", "file", 0);
  for (int level = 0; level < 1000; ++level) {
    exception = nesting(exception);
  }
  const std::string text = exception.describe();
  EXPECT_EQ(text.substr(text.rfind('\n') + 1), "start [g] f (file:0)");
}

}  // namespace
