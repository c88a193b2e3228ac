#include <examples/parameter_sweep/common/Keys.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <service/Identifier.h>
#include <sys/stat.h>
#include <zmq.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <system_error>
#include <vector>

namespace ParameterSweep {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t c_keyLength = 40;
constexpr std::size_t c_keyBytes = 32;
constexpr const char* c_nameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

[[noreturn]] void fail(const std::string& message) { throw SweepFailure(FailureKind::LocalFailure, message); }

bool isKey(const std::string& text) {
  std::array<std::uint8_t, c_keyBytes> bytes{};
  return text.size() == c_keyLength && zmq_z85_decode(bytes.data(), text.c_str()) != nullptr;
}

std::vector<std::string> readKeys(const fs::path& file, std::size_t count) {
  std::ifstream stream(file);
  if (!stream) {
    fail("cannot read '" + file.string() + "': " + std::generic_category().message(errno));
  }
  std::vector<std::string> keys;
  for (std::string key; stream >> key && isKey(key);) {
    keys.push_back(key);
  }
  if (keys.size() != count) {
    fail("'" + file.string() + "' does not hold " + std::to_string(count) +
         " keys; make them with sweep-server keygen");
  }
  return keys;
}

/// Refuses the file of a secret key that others can read.
void checkSecret(const fs::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    fail("'" + file.string() +
         "' is readable by other users; run chmod 600, and create new keys if somebody may have read it");
  }
}

KeyPair makeKeyPair() {
  std::array<char, c_keyLength + 1> publicKey{};
  std::array<char, c_keyLength + 1> secretKey{};
  if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0) {
    fail("the messaging library was built without CURVE");
  }
  return {publicKey.data(), secretKey.data()};
}

}  // namespace

fs::path makeClientKeys(const fs::path& folder, const std::string& name) {
  const bool hasOthers = name.find_first_not_of(c_nameCharacters) != std::string::npos;
  if (name == "server" || name.empty() || hasOthers) {
    fail("'" + name + "' cannot name a client; use letters, digits, '-' and '_'");
  }
  fs::path clientFile = folder / (name + ".key");
  if (fs::exists(clientFile)) {
    fail("'" + clientFile.string() + "' exists; remove it to make new keys for this client");
  }
  ::umask(S_IRWXG | S_IRWXO);
  fs::create_directories(folder / "clients");
  if (!fs::exists(folder / "server.key")) {
    // Another process may do the same: the first one to link its file wins.
    const KeyPair server = makeKeyPair();
    const fs::path made = folder / ("server.key." + Drelvan::UniqueID::generateId());
    writeStoredFile(made, server.publicKey + "\n" + server.secretKey + "\n");
    std::error_code ignored;
    fs::create_hard_link(made, folder / "server.key", ignored);
    fs::remove(made);
  }
  const std::string serverKey = readKeys(folder / "server.key", 2).front();
  const KeyPair client = makeKeyPair();
  writeStoredFile(clientFile, serverKey + "\n" + client.publicKey + "\n" + client.secretKey + "\n");
  writeStoredFile(folder / "clients" / (name + ".pub"), client.publicKey + "\n");
  return clientFile;
}

ServerKeys readServerKeys(const fs::path& folder) {
  const std::vector<std::string> own = readKeys(folder / "server.key", 2);
  checkSecret(folder / "server.key");
  ServerKeys keys{{own[0], own[1]}, {}};
  for (const auto& entry : fs::directory_iterator(folder / "clients")) {
    if (entry.path().extension() == ".pub") {
      keys.clients.emplace(readKeys(entry.path(), 1).front(), entry.path().stem().string());
    }
  }
  return keys;
}

ClientKeys readClientKeys(const fs::path& file) {
  const std::vector<std::string> keys = readKeys(file, 3);
  checkSecret(file);
  return {keys[0], {keys[1], keys[2]}};
}

}  // namespace ParameterSweep
