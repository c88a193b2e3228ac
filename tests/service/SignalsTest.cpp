#include <gtest/gtest.h>
#include <service/Signals.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Signals::Connection;
using Signals::ScopedConnection;
using Signals::Signal;
using Signals::Private::SignalHandler;
using Signals::Private::Trackable;

using Numbers = std::vector<int>;

// ---- The types ----

static_assert(std::is_default_constructible_v<Trackable> && std::is_destructible_v<Trackable>);
static_assert(std::is_default_constructible_v<SignalHandler> && std::is_destructible_v<SignalHandler>);
static_assert(sizeof(Signal<void()>) == sizeof(Trackable) + sizeof(SignalHandler));
static_assert(sizeof(Signal<void(const std::string&, int)>) == sizeof(Signal<void()>));
static_assert(!std::is_polymorphic_v<Signal<void()>> && !std::is_polymorphic_v<Signal<void(int)>>);

template <typename Type>
constexpr bool isFixed = !std::is_copy_constructible_v<Type> && !std::is_copy_assignable_v<Type> &&
                         !std::is_move_constructible_v<Type> && !std::is_move_assignable_v<Type>;
static_assert(isFixed<Signal<void()>> && isFixed<Signal<void(int)>> && isFixed<Trackable> && isFixed<SignalHandler>);

static_assert(std::is_copy_constructible_v<Connection> && std::is_copy_assignable_v<Connection>);
static_assert(std::is_nothrow_move_constructible_v<Connection> && std::is_nothrow_move_assignable_v<Connection>);
static_assert(!std::is_copy_constructible_v<ScopedConnection> && !std::is_copy_assignable_v<ScopedConnection>);
static_assert(std::is_nothrow_move_constructible_v<ScopedConnection>);
static_assert(std::is_nothrow_move_assignable_v<ScopedConnection>);
static_assert(std::is_convertible_v<Connection, ScopedConnection>);

/// The address of a part of a signal; only this kind of cast reaches a private base.
template <typename Part, typename SignalType>
const void* partOf(const SignalType& signal) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
  return (const Part*)&signal;
#pragma GCC diagnostic pop
}

template <typename SignalType>
void expectPartsInOrder() {
  const SignalType signal;
  const auto* const start = reinterpret_cast<const char*>(&signal);
  EXPECT_EQ(partOf<Trackable>(signal), start);
  EXPECT_EQ(partOf<SignalHandler>(signal), start + sizeof(Trackable));
}

TEST(SignalContractTest, HoldsItsTwoPartsInOrder) {
  expectPartsInOrder<Signal<void()>>();
  expectPartsInOrder<Signal<void(int, const std::string&)>>();
}

// ---- Emission ----

TEST(Signal, DoesNothingWithoutSlots) {
  const Signal<void()> signal;
  signal();
  const Signal<void(int&)> other;
  int number = 1;
  other(number);
  EXPECT_EQ(number, 1);
}

TEST(Signal, CallsItsSlotsInTheOrderOfConnection) {
  Signal<void()> signal;
  Numbers called;
  for (int number = 0; number < 5; ++number) {
    signal.connect([&called, number] { called.push_back(number); });
  }
  signal();
  EXPECT_EQ(called, (Numbers{0, 1, 2, 3, 4}));
  signal();
  EXPECT_EQ(called, (Numbers{0, 1, 2, 3, 4, 0, 1, 2, 3, 4}));
}

TEST(Signal, CallsASlotAsOftenAsItIsConnected) {
  Signal<void()> signal;
  int calls = 0;
  const std::function<void()> slot = [&calls] { ++calls; };
  signal.connect(slot);
  signal.connect(slot);
  signal();
  EXPECT_EQ(calls, 2);
}

/// Counts how it came into being.
struct Argument {
  Argument() = default;
  Argument(const Argument& other) : copies(other.copies + 1) {}
  Argument& operator=(const Argument&) = delete;
  int copies = 0;
};

TEST(SignalArguments, ByValueReachEverySlotAsOneConstantObject) {
  Signal<void(Argument)> signal;
  std::vector<const Argument*> seen;
  for (int slot = 0; slot < 3; ++slot) {
    signal.connect([&seen](const Argument& argument) { seen.push_back(&argument); });
  }
  const Argument argument;
  signal(argument);
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0], seen[1]);
  EXPECT_EQ(seen[1], seen[2]);
  EXPECT_NE(seen[0], &argument);
}

TEST(SignalArguments, ByValueAreCopiedIntoASlotThatWantsItsOwn) {
  Signal<void(std::string)> signal;
  std::vector<std::string> seen;
  for (int slot = 0; slot < 2; ++slot) {
    signal.connect([&seen](std::string text) {
      text += "!";
      seen.push_back(std::move(text));
    });
  }
  signal("text");
  EXPECT_EQ(seen, (std::vector<std::string>{"text!", "text!"}));
}

TEST(SignalArguments, ByConstantReferenceAreTheEmittersOwn) {
  Signal<void(const Argument&)> signal;
  const Argument argument;
  const Argument* seen = nullptr;
  signal.connect([&seen](const Argument& given) { seen = &given; });
  signal(argument);
  EXPECT_EQ(seen, &argument);
  EXPECT_EQ(argument.copies, 0);
}

TEST(SignalArguments, ByReferenceCanBeChangedBySlots) {
  Signal<void(int&, std::string&)> signal;
  signal.connect([](int& number, std::string& text) {
    number *= 2;
    text += "a";
  });
  signal.connect([](int& number, std::string& text) {
    number += 1;
    text += "b";
  });
  int number = 5;
  std::string text;
  signal(number, text);
  EXPECT_EQ(number, 11);
  EXPECT_EQ(text, "ab");
}

TEST(SignalArguments, CanBeMoveOnlyAndMany) {
  Signal<void(std::unique_ptr<int>, int*, char, double, const char*)> signal;
  std::string seen;
  signal.connect(
      [&seen](const std::unique_ptr<int>& owned, int* pointer, char letter, double number, const char* text) {
        seen += std::to_string(*owned) + std::to_string(*pointer) + letter + std::to_string(number) + text;
      });
  int number = 2;
  signal(std::make_unique<int>(1), &number, 'c', 0.5, "end");
  EXPECT_EQ(seen, "12c0.500000end");
}

TEST(Signal, TakesCallablesOfEveryKind) {
  static int calls = 0;
  calls = 0;
  struct Slots {
    static void asFunction(int number) { calls += number; }
    void operator()(int number) const { calls += number; }
  };
  Signal<void(int)> signal;
  signal.connect(&Slots::asFunction);
  signal.connect(Slots());
  signal.connect(std::function<void(int)>(Slots()));
  signal.connect([](long number) { calls += static_cast<int>(number); });
  signal.connect([](int) { return "what a slot returns is dropped"; });
  signal(10);
  EXPECT_EQ(calls, 40);
  Signal<void(std::string&)> members;
  members.connect(&std::string::clear);
  std::string text = "text";
  members(text);
  EXPECT_EQ(text, "");
}

TEST(Signal, KeepsTheStateOfASlot) {
  Signal<void()> signal;
  Numbers seen;
  signal.connect([&seen, count = 0]() mutable { seen.push_back(++count); });
  signal();
  signal();
  EXPECT_EQ(seen, (Numbers{1, 2}));
}

TEST(Signal, ReleasesItsSlotsWhenDestroyed) {
  const auto held = std::make_shared<int>(1);
  {
    Signal<void()> signal;
    signal.connect([held] {});
    EXPECT_EQ(held.use_count(), 2);
  }
  EXPECT_EQ(held.use_count(), 1);
}

// ---- Connections ----

TEST(Connection, IsToNothingByDefault) {
  Connection connection;
  EXPECT_FALSE(connection.connected());
  connection.disconnect();
  EXPECT_FALSE(connection.connected());
}

TEST(Connection, EndsTheCallsOfItsSlotOnly) {
  Signal<void()> signal;
  Numbers called;
  signal.connect([&] { called.push_back(1); });
  Connection connection = signal.connect([&] { called.push_back(2); });
  signal.connect([&] { called.push_back(3); });
  EXPECT_TRUE(connection.connected());
  connection.disconnect();
  EXPECT_FALSE(connection.connected());
  connection.disconnect();
  signal();
  EXPECT_EQ(called, (Numbers{1, 3}));
}

TEST(Connection, LastsWhenItIsDropped) {
  Signal<void()> signal;
  int calls = 0;
  {
    const Connection connection = signal.connect([&] { ++calls; });
  }
  signal();
  EXPECT_EQ(calls, 1);
}

TEST(Connection, IsTheSameInEveryCopy) {
  Signal<void()> signal;
  int calls = 0;
  const Connection original = signal.connect([&] { ++calls; });
  Connection copy(original);
  Connection assigned;
  assigned = copy;
  EXPECT_TRUE(assigned.connected());
  copy.disconnect();
  EXPECT_FALSE(original.connected());
  EXPECT_FALSE(assigned.connected());
  signal();
  EXPECT_EQ(calls, 0);
}

TEST(Connection, IsMoved) {
  Signal<void()> signal;
  Connection source = signal.connect([] {});
  Connection moved(std::move(source));
  EXPECT_TRUE(moved.connected());
  Connection assigned;
  assigned = std::move(moved);
  EXPECT_TRUE(assigned.connected());
  assigned.disconnect();
  EXPECT_FALSE(assigned.connected());
}

TEST(Connection, EndsWithTheSignal) {
  Connection connection;
  {
    Signal<void(int)> signal;
    connection = signal.connect([](int) {});
    EXPECT_TRUE(connection.connected());
  }
  EXPECT_FALSE(connection.connected());
  connection.disconnect();
  EXPECT_FALSE(connection.connected());
}

TEST(ScopedConnection, EndsWithItsScope) {
  Signal<void()> signal;
  int calls = 0;
  {
    const ScopedConnection connection = signal.connect([&] { ++calls; });
    EXPECT_TRUE(connection.connected());
    signal();
  }
  signal();
  EXPECT_EQ(calls, 1);
}

TEST(ScopedConnection, IsToNothingByDefault) {
  ScopedConnection connection;
  EXPECT_FALSE(connection.connected());
  connection.disconnect();
}

TEST(ScopedConnection, IsDisconnectedEarly) {
  Signal<void()> signal;
  int calls = 0;
  ScopedConnection connection = signal.connect([&] { ++calls; });
  connection.disconnect();
  EXPECT_FALSE(connection.connected());
  signal();
  EXPECT_EQ(calls, 0);
}

TEST(ScopedConnection, MovesItsConnection) {
  Signal<void()> signal;
  int calls = 0;
  ScopedConnection target;
  {
    ScopedConnection source = signal.connect([&] { ++calls; });
    ScopedConnection moved(std::move(source));
    EXPECT_FALSE(source.connected());
    target = std::move(moved);
    EXPECT_FALSE(moved.connected());
  }
  EXPECT_TRUE(target.connected());
  signal();
  EXPECT_EQ(calls, 1);
}

TEST(ScopedConnection, EndsTheOldConnectionWhenItTakesANewOne) {
  Signal<void()> signal;
  Numbers called;
  ScopedConnection connection = signal.connect([&] { called.push_back(1); });
  connection = signal.connect([&] { called.push_back(2); });
  signal();
  EXPECT_EQ(called, (Numbers{2}));
}

TEST(ScopedConnection, SurvivesAMoveToItself) {
  Signal<void()> signal;
  ScopedConnection connection = signal.connect([] {});
  ScopedConnection& alias = connection;
  connection = std::move(alias);
  EXPECT_TRUE(connection.connected());
}

TEST(ScopedConnection, GivesTheConnectionUp) {
  Signal<void()> signal;
  int calls = 0;
  Connection released;
  {
    ScopedConnection connection = signal.connect([&] { ++calls; });
    released = connection.release();
    EXPECT_FALSE(connection.connected());
  }
  EXPECT_TRUE(released.connected());
  signal();
  EXPECT_EQ(calls, 1);
}

TEST(ScopedConnection, MayOutliveItsSignal) {
  ScopedConnection connection;
  {
    Signal<void()> signal;
    connection = signal.connect([] {});
  }
  EXPECT_FALSE(connection.connected());
}

// ---- From within a slot ----

TEST(SlotWithin, DisconnectsItself) {
  Signal<void()> signal;
  Numbers called;
  Connection connection;
  signal.connect([&] { called.push_back(1); });
  connection = signal.connect([&] {
    called.push_back(2);
    connection.disconnect();
    EXPECT_FALSE(connection.connected());
  });
  signal.connect([&] { called.push_back(3); });
  signal();
  signal();
  EXPECT_EQ(called, (Numbers{1, 2, 3, 1, 3}));
}

TEST(SlotWithin, ConnectsAnotherForLaterEmissions) {
  Signal<void()> signal;
  Numbers called;
  signal.connect([&] {
    called.push_back(1);
    signal.connect([&] { called.push_back(2); });
  });
  signal();
  EXPECT_EQ(called, (Numbers{1}));
  called.clear();
  signal();
  EXPECT_EQ(called, (Numbers{1, 2}));
}

TEST(SlotWithin, EmitsTheSignalAgain) {
  Signal<void(int)> signal;
  Numbers called;
  signal.connect([&](int depth) {
    called.push_back(depth);
    if (depth < 3) {
      signal(depth + 1);
    }
  });
  signal.connect([&](int depth) { called.push_back(-depth); });
  signal(1);
  EXPECT_EQ(called, (Numbers{1, 2, 3, -3, -2, -1}));
}

TEST(SlotWithin, DestroysTheSignal) {
  auto signal = std::make_unique<Signal<void(const std::string&)>>();
  std::vector<std::string> heard;
  const auto state = std::make_shared<std::string>("still here");
  Connection connection = signal->connect([&signal, &heard, state](const std::string& text) {
    signal.reset();
    heard.push_back(text + " " + *state);
  });
  (*signal)("text");
  EXPECT_EQ(signal, nullptr);
  EXPECT_EQ(heard, (std::vector<std::string>{"text still here"}));
  EXPECT_FALSE(connection.connected());
  connection.disconnect();
  EXPECT_EQ(state.use_count(), 1);
}

TEST(SlotWithin, DestroysTheSignalAndThrows) {
  auto signal = std::make_unique<Signal<void()>>();
  signal->connect([&] {
    signal.reset();
    throw std::runtime_error("gone");
  });
  EXPECT_THROW((*signal)(), std::runtime_error);
}

// ---- Slots that throw ----

TEST(ThrowingSlot, DoesNotKeepTheOthersFromBeingCalled) {
  Signal<void()> signal;
  Numbers called;
  signal.connect([&] { called.push_back(1); });
  signal.connect([&] {
    called.push_back(2);
    throw std::runtime_error("first");
  });
  signal.connect([&] { called.push_back(3); });
  signal.connect([&] {
    called.push_back(4);
    throw std::logic_error("second");
  });
  signal.connect([&] { called.push_back(5); });
  for (int round = 0; round < 2; ++round) {
    called.clear();
    try {
      signal();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& exception) {
      EXPECT_STREQ(exception.what(), "first");
    }
    EXPECT_EQ(called, (Numbers{1, 2, 3, 4, 5}));
  }
}

TEST(ThrowingSlot, PassesAnyTypeOn) {
  Signal<void()> signal;
  signal.connect([] { throw 42; });
  signal.connect([] { throw std::runtime_error("later"); });
  EXPECT_THROW(signal(), int);
}

TEST(ThrowingSlot, StaysConnectedUntilItIsDisconnected) {
  Signal<void()> signal;
  Connection connection = signal.connect([] { throw 1; });
  EXPECT_THROW(signal(), int);
  EXPECT_TRUE(connection.connected());
  connection.disconnect();
  EXPECT_NO_THROW(signal());
}

TEST(ThrowingSlot, MayDisconnectItselfFirst) {
  Signal<void()> signal;
  Connection connection;
  connection = signal.connect([&] {
    connection.disconnect();
    throw 1;
  });
  EXPECT_THROW(signal(), int);
  EXPECT_NO_THROW(signal());
}

}  // namespace
