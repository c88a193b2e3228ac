#pragma once

#include <filesystem>
#include <set>
#include <string>

/// The CURVE keys of server and clients. Every key is 40 characters of text, one a line in its file; the files with a
/// secret key are readable by their owner only.
///
/// | file                  | holds                                          | belongs to  |
/// |-----------------------|------------------------------------------------|-------------|
/// | DIR/server.key        | the server's public and secret key             | the server  |
/// | DIR/clients/NAME.pub  | the public key of a client that is let in      | the server  |
/// | DIR/NAME.key          | the server's public key, the client's key pair | that client |
namespace ParameterSweep {

struct KeyPair {
  std::string publicKey;
  std::string secretKey;
};

struct ServerKeys {
  KeyPair own;
  std::set<std::string> clients;  ///< the public keys that are let in
};

struct ClientKeys {
  std::string serverKey;
  KeyPair own;
};

/// Makes the server's keys where there are none yet, and new keys for the client `name`. Returns the file for the
/// client. Throws `SweepFailure` (`LocalTrouble`), also for a name that is not letters, digits, "-" and "_", or that
/// exists. What this process makes afterwards is its owner's only, too.
std::filesystem::path makeClientKeys(const std::filesystem::path& folder, const std::string& name);

/// Throw `SweepFailure` (`LocalTrouble`) when the files are missing or hold no keys.
ServerKeys readServerKeys(const std::filesystem::path& folder);
ClientKeys readClientKeys(const std::filesystem::path& file);

}  // namespace ParameterSweep
