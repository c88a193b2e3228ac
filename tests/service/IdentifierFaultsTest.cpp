// An operating system without random bits: the program defines getentropy itself.

#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <service/Identifier.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

extern "C" int getentropy(void*, std::size_t) {
  errno = ENOSYS;
  return -1;
}

namespace {

TEST(UniqueIdFaults, WithoutRandomBitsThereIsNoId) {
  try {
    Drelvan::UniqueID::generateId();
    FAIL() << "an id of bits that are not random";
  } catch (const Drelvan::DvException& exception) {
    EXPECT_EQ(exception.getMessage(), "The operating system has no secure random bits to give.");
  }
}

}  // namespace
