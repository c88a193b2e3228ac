#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using Drelvan::AbstractJobLog;
using Drelvan::GenericJobId;
using Message = AbstractJobLog::Message;

/// A log in memory, as a program would derive it.
class JobLog : public AbstractJobLog {
 public:
  void append(const Message& message) override {
    m_messages.push_back(message);
    m_messageAppended(message);
  }
  std::vector<Message> getMessages() const override { return m_messages; }
  GenericJobId getJobId() const override { return m_jobId; }
  void clear() override { m_messages.clear(); }

 private:
  GenericJobId m_jobId;
  std::vector<Message> m_messages;
};

static_assert(std::is_abstract_v<AbstractJobLog>);
static_assert(std::has_virtual_destructor_v<AbstractJobLog>);
static_assert(!std::is_destructible_v<AbstractJobLog>, "a job log is not deleted through this base");
static_assert(std::is_destructible_v<JobLog> && std::is_default_constructible_v<JobLog>);
static_assert(!std::is_copy_constructible_v<JobLog> && !std::is_copy_assignable_v<JobLog>);
static_assert(!std::is_move_constructible_v<JobLog> && !std::is_move_assignable_v<JobLog>);
static_assert(!std::is_copy_assignable_v<AbstractJobLog>);
static_assert(sizeof(AbstractJobLog) == sizeof(void*) + sizeof(Signals::Signal<void(const Message&)>));
static_assert(std::is_same_v<decltype(AbstractJobLog::m_messageAppended), Signals::Signal<void(const Message&)>>);
static_assert(std::is_same_v<decltype(Message::timestamp), std::int64_t>);
static_assert(Message::Type::Info != Message::Type::Warning && Message::Type::Error != Message::Type::Debug);

TEST(AbstractJobLogMessage, StartsEmpty) {
  const Message message;
  EXPECT_EQ(message.type, Message::Type::Info);
  EXPECT_EQ(message.group, "");
  EXPECT_EQ(message.timestamp, 0);
  EXPECT_EQ(message.text, "");
}

TEST(AbstractJobLogContractTest, HoldsItsSignalAfterTheDispatchTable) {
  const JobLog log;
  const auto* const base = reinterpret_cast<const char*>(static_cast<const AbstractJobLog*>(&log));
  EXPECT_EQ(reinterpret_cast<const char*>(&log.m_messageAppended), base + sizeof(void*));
}

TEST(AbstractJobLog, CallsItsSlotsForEachMessage) {
  JobLog log;
  std::vector<std::string> heard;
  const Signals::ScopedConnection connection =
      log.m_messageAppended.connect([&](const Message& message) { heard.push_back(message.text); });
  AbstractJobLog& base = log;
  base.append({Message::Type::Warning, "solver", 1234567890123, "first"});
  base.append({Message::Type::Debug, "solver", 1234567890124, "second"});
  EXPECT_EQ(heard, (std::vector<std::string>{"first", "second"}));
  ASSERT_EQ(base.getMessages().size(), 2U);
  EXPECT_EQ(base.getMessages()[0].type, Message::Type::Warning);
  EXPECT_EQ(base.getMessages()[1].timestamp, 1234567890124);
  base.clear();
  EXPECT_TRUE(base.getMessages().empty());
  EXPECT_FALSE(base.getJobId().isValid());
}

TEST(AbstractJobLog, DisconnectsItsSlotsWhenDestroyed) {
  Signals::Connection connection;
  {
    JobLog log;
    connection = log.m_messageAppended.connect([](const Message&) {});
    EXPECT_TRUE(connection.connected());
  }
  EXPECT_FALSE(connection.connected());
}

#if defined(__x86_64__)
/// The place of a virtual operation in the dispatch table, as the common C++ ABI tells it.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::size_t encoded = 0;
  std::memcpy(&encoded, &operation, sizeof encoded);
  return (encoded - 1) / sizeof(void*);
}

TEST(AbstractJobLogContractTest, DispatchesTheOperationsBeforeTheDestructor) {
  EXPECT_EQ(slotOf(&AbstractJobLog::append), 0U);
  EXPECT_EQ(slotOf(&AbstractJobLog::getMessages), 1U);
  EXPECT_EQ(slotOf(&AbstractJobLog::getJobId), 2U);
  EXPECT_EQ(slotOf(&AbstractJobLog::clear), 3U);
}
#endif

}  // namespace
