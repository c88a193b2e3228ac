#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>
#include <tests/support/FailingAllocations.h>

#include <cstddef>
#include <functional>
#include <new>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

/// Every allocation of an operation fails once. The failure is `std::bad_alloc`, nothing is lost, and the operation
/// gives the same as before when it is done again.
namespace {

using Drelvan::PackageDocument;
using Drelvan::PackageWriter;
using RequestPackagesTests::valuesRequest;
using TestSupport::FailingAllocations;

class PackagesFaultsTest : public RequestPackagesTests::PackagesTest {};

/// More than any of the operations makes.
constexpr std::size_t c_manyAllocations = 5000;

/// Whether the operation ended without meeting the failing allocation.
bool succeedsWithFailureAfter(std::size_t successes, const std::function<void()>& operation) {
  bool hasThrown = false;
  FailingAllocations::beginTrace();
  FailingAllocations::failAfter(successes);
  try {
    operation();
  } catch (const std::bad_alloc&) {
    hasThrown = true;
  }
  const bool hasFailed = FailingAllocations::stop();
  EXPECT_EQ(FailingAllocations::endTrace().size(), 0U) << "lost after " << successes << " allocations";
  EXPECT_EQ(hasThrown, hasFailed) << "after " << successes << " allocations";
  return !hasFailed;
}

/// `operation` gives a text without keeping anything.
void expectToSurvive(const std::function<std::string()>& operation) {
  const std::string expected = operation();
  std::size_t failures = 0;
  const auto run = [&] { static_cast<void>(operation()); };
  while (failures < c_manyAllocations && !succeedsWithFailureAfter(failures, run)) {
    ASSERT_EQ(operation(), expected) << "after " << failures << " allocations";
    ++failures;
  }
  EXPECT_GT(failures, 0U);
  EXPECT_LT(failures, c_manyAllocations);
}

const std::string c_long(100, 'x');

/// Copies no parameter: the standard library of GCC 12 destroys a variant of no index when the copy of its text fails.
Drelvan::ParameterVector makeVector() {
  Drelvan::ParameterVector vector{1, {}};
  vector.parameters.push_back({c_long, 2.5});
  vector.parameters.push_back({"b", c_long});
  return vector;
}

std::string writeAll(PackageWriter& writer) {
  Drelvan::RequestEnvelope envelope;
  envelope.serial = 1;
  envelope.timestamp = TestSupport::c_timestamp;
  envelope.clientId = envelope.requestClientId = TestSupport::c_uid;
  envelope.origin = c_long;
  writer.startRequestPackage(envelope);
  writer.startRequest("ValuesRequest", TestSupport::c_uid);
  writer.element("string", c_long + "<&>\x01");
  writer.element("doubles", std::vector<double>{1.5, -2});
  writer.element("exception", Drelvan::PackageExceptions{{c_long, c_long}, {c_long}});
  writer.element("vector", makeVector());
  return writer.finish();
}

TEST_F(PackagesFaultsTest, WritingToAStringSurvivesEachFailedAllocation) {
  expectToSurvive([] {
    PackageWriter writer;
    return writeAll(writer);
  });
}

TEST_F(PackagesFaultsTest, WritingToAStreamSurvivesEachFailedAllocation) {
  /// Takes everything and keeps nothing: a stream of the standard library swallows exceptions of its own.
  struct NowhereBuffer : std::streambuf {
    int_type overflow(int_type character) override { return character; }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
  };
  NowhereBuffer buffer;
  std::ostream stream(&buffer);
  expectToSurvive([&] {
    PackageWriter writer(stream);
    return writeAll(writer);
  });
}

TEST_F(PackagesFaultsTest, ReadingValuesSurvivesEachFailedAllocation) {
  PackageWriter writer;
  const PackageDocument document = PackageDocument::fromText(writeAll(writer));
  expectToSurvive([&] {
    const auto request = document.getRequest();
    const auto exceptions = request.get<Drelvan::PackageExceptions>("exception");
    const auto vector = request.get<Drelvan::ParameterVector>("vector");
    return document.getRequestEnvelope().origin.value() + request.getTypeName() + request.getPath() +
           request.get<std::string>("string") + exceptions.at(1).type + vector.parameters.at(1).id +
           std::to_string(request.get<std::vector<double>>("doubles").size());
  });
}

TEST_F(PackagesFaultsTest, FailuresToReadSurviveEachFailedAllocation) {
  const PackageDocument document = PackageDocument::fromText(valuesRequest("<string>" + c_long + "</string>"));
  expectToSurvive([&] {
    std::string messages;
    for (const char* name : {"string", "int"}) {
      try {
        document.getRequest().get<int>(name);
      } catch (const Drelvan::DvException& exception) {
        messages += exception.getMessage();
      }
    }
    return messages;
  });
}

}  // namespace
