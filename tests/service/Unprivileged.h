#pragma once

#include <unistd.h>

#include <filesystem>

namespace TestSupport {

/// Runs the rest of its scope without the rights of the superuser, where the test has them.
class Unprivileged {
 public:
  /// `folder` and all in it is given to the user that the scope runs as.
  explicit Unprivileged(const std::filesystem::path& folder) : m_user(::geteuid()) {
    if (m_user != 0) {
      return;
    }
    bool given = ::chown(folder.c_str(), c_nobody, c_nobody) == 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      given = ::lchown(entry.path().c_str(), c_nobody, c_nobody) == 0 && given;
    }
    m_changed = given && ::seteuid(c_nobody) == 0;
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;
  ~Unprivileged() {
    if (m_changed && ::seteuid(m_user) != 0) {
      ::_exit(99);
    }
  }

  /// False where the superuser's rights could not be given up.
  bool inForce() const { return m_user != 0 || m_changed; }

 private:
  static constexpr uid_t c_nobody = 65534;
  uid_t m_user;
  bool m_changed = false;
};

}  // namespace TestSupport
