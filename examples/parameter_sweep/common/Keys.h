#pragma once

#include <filesystem>
#include <map>
#include <string>

/// The CURVE keys of server and clients. Every key is 40 characters of text, one per line in its file; the files with a
/// secret key are readable by their owner only.
///
/// | file                  | holds                                          | belongs to  |
/// |-----------------------|------------------------------------------------|-------------|
/// | DIR/server.key        | the server's public and secret key             | the server  |
/// | DIR/clients/NAME.pub  | the public key of a client that is served      | the server  |
/// | DIR/NAME.key          | the server's public key, the client's key pair | that client |
namespace ParameterSweep {

struct KeyPair {
  std::string publicKey;
  std::string secretKey;
};

struct ServerKeys {
  KeyPair own;
  std::map<std::string, std::string> clients;  ///< the names of those who are served, by their public keys
};

struct ClientKeys {
  std::string serverKey;
  KeyPair own;
};

/// Makes the server's keys where there are none yet, and new keys for the client `name`. Returns the file for the
/// client. Throws `SweepFailure` (`LocalFailure`), also for a name that is not letters, digits, "-" and "_", or that
/// exists. What this process makes afterwards is its owner's only, too.
std::filesystem::path makeClientKeys(const std::filesystem::path& folder, const std::string& name);

/// Throw `SweepFailure` (`LocalFailure`) when the files are missing or hold no keys, or when others than their owner
/// can read a secret one.
ServerKeys readServerKeys(const std::filesystem::path& folder);
ClientKeys readClientKeys(const std::filesystem::path& file);

}  // namespace ParameterSweep
