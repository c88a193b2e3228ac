#pragma once

namespace ParameterSweep {

/// A descriptor that is readable while something is to be seen to, for `poll` and what is like it.
///
/// Threads: any; `raise` and `clear` may be called at the same time.
class EventDescriptor {
 public:
  /// Not readable at first. Throws `std::system_error`.
  EventDescriptor();
  EventDescriptor(const EventDescriptor&) = delete;
  EventDescriptor& operator=(const EventDescriptor&) = delete;
  ~EventDescriptor();

  int get() const { return m_descriptor; }
  void raise() const;
  void clear() const;

 private:
  const int m_descriptor;
};

}  // namespace ParameterSweep
