#pragma once

#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/server/Client.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <zmq.hpp>

namespace ParameterSweep {

/// Who is let in, and under which name.
///
/// Threads: one.
class Authentication {
 public:
  /// Without a folder everybody is let in, without a name. Throws as `readServerKeys`.
  Authentication(zmq::context_t& context, const std::string& keyFolder, std::set<std::string> admins);

  /// Has only those connect to the socket whose key is known, all traffic encrypted. To be called before it is bound.
  void secure(zmq::socket_t& socket) const;

  /// Answers the messaging library, which asks about each new connection.
  void answer();
  zmq::socket_ref getSocket() { return m_socket; }

  /// The sender of a message; empty when its key is not known any more.
  std::optional<Client> identify(zmq::message_t& message) const;

  /// Whether a client with this key is let in; everybody is where there are no keys.
  bool isKnown(const std::string& key) const { return !m_keys || m_keys->clients.count(key) != 0; }

  /// Reads the keys again. With a failure those that were known stay.
  void reload();
  bool hasKeys() const { return m_keys.has_value(); }

 private:
  const std::string m_keyFolder;
  const std::set<std::string> m_admins;
  std::optional<ServerKeys> m_keys;
  zmq::socket_t m_socket;
};

}  // namespace ParameterSweep
