#pragma once

/// @file
/// Signals: an object calls any number of connected functions, its slots, when something happens.
///
/// Threads: connecting, disconnecting and emitting are safe from any thread, also from within a slot, and a slot may
/// disconnect itself. A signal must not be destroyed while another thread enters one of its operations; a slot may
/// destroy the signal that calls it.

#include <service/DVMService_Signals_export.h>

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

namespace Signals {

namespace Private {

class ConnectionBody;

/// Lets connections find out whether their signal still exists.
class DVMSERVICE_SIGNALS_EXPORT Trackable {
 public:
  Trackable();
  ~Trackable();
  Trackable(const Trackable&) = delete;
  Trackable& operator=(const Trackable&) = delete;

  /// Expires when this object is destroyed.
  std::weak_ptr<const void> getLifetime() const;

 private:
  std::shared_ptr<const void> m_lifetime;
};

/// The slots of one signal, without their argument types.
class DVMSERVICE_SIGNALS_EXPORT SignalHandler {
 public:
  /// A slot takes the address of the signal's argument tuple.
  using ErasedSlot = std::function<void(const void*)>;

  SignalHandler();
  ~SignalHandler();
  SignalHandler(const SignalHandler&) = delete;
  SignalHandler& operator=(const SignalHandler&) = delete;

  /// Connects `slot`: every emission that begins from now on calls it.
  std::shared_ptr<ConnectionBody> connect(const ErasedSlot& slot);

  /// Calls every slot in the order of connection; then throws the first exception that one of them threw, if any.
  void emit(const void* arguments) const;

 private:
  class Slots;
  std::shared_ptr<Slots> m_slots;
};

}  // namespace Private

/// The connection of one slot to a signal; copies refer to the same connection. Destroying it does not disconnect.
class DVMSERVICE_SIGNALS_EXPORT Connection {
 public:
  /// A connection to nothing.
  Connection();
  /// What `Signal::connect` returns.
  Connection(std::shared_ptr<Private::ConnectionBody> body, std::weak_ptr<const void> signal);
  /// @{
  /// Refers to the connection of `other`; one that is moved from is a connection to nothing.
  Connection(const Connection& other);
  Connection(Connection&& other) noexcept;
  Connection& operator=(const Connection& other);
  Connection& operator=(Connection&& other) noexcept;
  /// @}
  ~Connection();

  /// The slot is not called by any emission that begins afterwards. Does nothing when already disconnected.
  void disconnect();
  /// Whether the slot is connected to a signal that exists.
  bool connected() const;

 private:
  std::shared_ptr<Private::ConnectionBody> m_body;
  std::weak_ptr<const void> m_signal;
};

/// A connection that is disconnected when this object is destroyed.
class DVMSERVICE_SIGNALS_EXPORT ScopedConnection {
 public:
  /// A connection to nothing.
  ScopedConnection();
  /// Not explicit: `ScopedConnection c = signal.connect(...)` is its use.
  ScopedConnection(Connection connection);
  /// Leaves `other` with a connection to nothing; so does the move assignment.
  ScopedConnection(ScopedConnection&& other) noexcept;
  /// Disconnects the previous connection.
  ScopedConnection& operator=(ScopedConnection&& other) noexcept;
  ~ScopedConnection();

  /// As `Connection::disconnect`.
  void disconnect();
  /// As `Connection::connected`.
  bool connected() const;
  /// Releases the connection without disconnecting it.
  Connection release();

 private:
  Connection m_connection;
};

template <typename Signature>
class Signal;

/// A signal whose slots take `Arguments`. Each slot receives the emitter's own argument objects, as constants where
/// they were passed by value.
template <typename... Arguments>
class Signal<void(Arguments...)> : private Private::Trackable, private Private::SignalHandler {
 public:
  Signal() = default;
  ~Signal();
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  /// Connects a copy of `slot`: every emission that begins from now on calls it.
  template <typename Callable>
  Connection connect(Callable slot) {
    auto erased = [slot = std::move(slot)](const void* arguments) mutable {
      std::apply(slot, *static_cast<const std::tuple<const Arguments&...>*>(arguments));
    };
    return Connection(SignalHandler::connect(erased), Trackable::getLifetime());
  }

  /// Calls every slot, in the order of connection. When slots throw, the others are still called; then the first
  /// exception is thrown.
  void operator()(Arguments... arguments) const {
    const std::tuple<const Arguments&...> all(arguments...);
    SignalHandler::emit(&all);
  }
};

template <typename... Arguments>
Signal<void(Arguments...)>::~Signal() = default;

extern template class DVMSERVICE_SIGNALS_EXPORT Signal<void()>;

}  // namespace Signals
