#include <service/Signals.h>

#include <vector>

#include "Calls.h"

namespace Signals {

namespace Private {

class ConnectionBody {};

class SignalHandler::Slots {
 public:
  std::vector<ErasedSlot> slots;
};

Trackable::Trackable() : m_lifetime(std::make_shared<char>()) { Site::note("Trackable::Trackable"); }
Trackable::~Trackable() { Site::note("Trackable::~Trackable"); }
std::weak_ptr<const void> Trackable::getLifetime() const { return m_lifetime; }

SignalHandler::SignalHandler() : m_slots(std::make_shared<Slots>()) { Site::note("SignalHandler::SignalHandler"); }
SignalHandler::~SignalHandler() { Site::note("SignalHandler::~SignalHandler"); }

std::shared_ptr<ConnectionBody> SignalHandler::connect(const ErasedSlot& slot) {
  m_slots->slots.push_back(slot);
  return std::make_shared<ConnectionBody>();
}

void SignalHandler::emit(const void* arguments) const {
  for (const ErasedSlot& slot : m_slots->slots) {
    slot(arguments);
  }
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
void Connection::disconnect() { m_body.reset(); }
bool Connection::connected() const { return m_body != nullptr && !m_signal.expired(); }

ScopedConnection::ScopedConnection() = default;
ScopedConnection::ScopedConnection(Connection connection) : m_connection(std::move(connection)) {}
ScopedConnection::ScopedConnection(ScopedConnection&& other) noexcept = default;
ScopedConnection& ScopedConnection::operator=(ScopedConnection&& other) noexcept = default;
ScopedConnection::~ScopedConnection() = default;
void ScopedConnection::disconnect() { m_connection.disconnect(); }
bool ScopedConnection::connected() const { return m_connection.connected(); }
Connection ScopedConnection::release() { return std::exchange(m_connection, Connection()); }

template class Signal<void()>;

}  // namespace Signals
