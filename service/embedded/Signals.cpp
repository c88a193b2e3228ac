#include <service/Signals.h>

#include <boost/optional.hpp>
#include <boost/signals2/signal.hpp>
#include <exception>

namespace Signals {

namespace {

/// Calls every slot; throws the first exception once all have been called.
struct CallAll {
  using result_type = void;

  template <typename Iterator>
  void operator()(Iterator slot, Iterator end) const {
    std::exception_ptr first;
    for (; slot != end; ++slot) {
      try {
        *slot;
      } catch (...) {
        first = first == nullptr ? std::current_exception() : first;
      }
    }
    if (first != nullptr) {
      std::rethrow_exception(first);
    }
  }
};

using SlotList = boost::signals2::signal<void(const void*), CallAll>;

}  // namespace

namespace Private {

class ConnectionBody {
 public:
  explicit ConnectionBody(boost::signals2::connection connection) : m_connection(std::move(connection)) {}

  void disconnect() { m_connection.disconnect(); }
  bool connected() const { return m_connection.connected(); }

 private:
  boost::signals2::connection m_connection;
};

class SignalHandler::Slots {
 public:
  SlotList list;
};

Trackable::Trackable() : m_lifetime(std::make_shared<char>()) {}
Trackable::~Trackable() = default;

std::weak_ptr<const void> Trackable::getLifetime() const { return m_lifetime; }

SignalHandler::SignalHandler() : m_slots(std::make_shared<Slots>()) {}

SignalHandler::~SignalHandler() { m_slots->list.disconnect_all_slots(); }

std::shared_ptr<ConnectionBody> SignalHandler::connect(const ErasedSlot& slot) {
  return std::make_shared<ConnectionBody>(m_slots->list.connect(slot));
}

void SignalHandler::emit(const void* arguments) const {
  // A slot may destroy the signal: this keeps the list of slots until the emission is over.
  const std::shared_ptr<Slots> slots = m_slots;
  slots->list(arguments);
}

}  // namespace Private

Connection::Connection() = default;
Connection::Connection(std::shared_ptr<Private::ConnectionBody> body, std::weak_ptr<const void> signal)
    : m_body(std::move(body)), m_signal(std::move(signal)) {}
Connection::Connection(const Connection& other) = default;
Connection::Connection(Connection&& other) noexcept = default;
Connection& Connection::operator=(const Connection& other) = default;
Connection& Connection::operator=(Connection&& other) noexcept = default;
Connection::~Connection() = default;

void Connection::disconnect() {
  if (m_body != nullptr) {
    m_body->disconnect();
  }
}

bool Connection::connected() const { return m_body != nullptr && !m_signal.expired() && m_body->connected(); }

ScopedConnection::ScopedConnection() = default;
ScopedConnection::ScopedConnection(Connection connection) : m_connection(std::move(connection)) {}
ScopedConnection::ScopedConnection(ScopedConnection&& other) noexcept : m_connection(other.release()) {}

ScopedConnection& ScopedConnection::operator=(ScopedConnection&& other) noexcept {
  if (this != &other) {
    m_connection.disconnect();
    m_connection = other.release();
  }
  return *this;
}

ScopedConnection::~ScopedConnection() { m_connection.disconnect(); }

void ScopedConnection::disconnect() { m_connection.disconnect(); }
bool ScopedConnection::connected() const { return m_connection.connected(); }
Connection ScopedConnection::release() { return std::exchange(m_connection, Connection()); }

template class Signal<void()>;

}  // namespace Signals
