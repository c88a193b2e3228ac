#include <Platform/RemoteComputation/Service/RequestPackages/schema/ContentSize.h>

#include <algorithm>

namespace Drelvan::Private {

namespace {

/// Of one content model; takes Xerces-C about a second.
constexpr std::uint64_t c_largestModel = 2000;
/// Of all copies together.
constexpr std::uint64_t c_largestTotal = 20'000;

bool isCompositor(const SchemaElement& element) {
  return element.tag == "sequence" || element.tag == "choice" || element.tag == "all";
}

bool isLeaf(const SchemaElement& element) { return element.tag == "element" || element.tag == "any"; }

bool isParticle(const SchemaElement& element) {
  return isCompositor(element) || isLeaf(element) || element.tag == "group";
}

bool isOnce(const SchemaElement& element) { return element.minOccurs == 1 && element.maxOccurs == 1; }

/// How often Xerces-C writes the particle down.
std::uint64_t copiesOf(const SchemaElement& element) {
  return element.maxOccurs == c_unbounded ? std::max<std::uint64_t>(element.minOccurs, 1)
                                          : std::max(element.minOccurs, element.maxOccurs);
}

/// The product or the largest number.
std::uint64_t multiply(std::uint64_t left, std::uint64_t right) {
  return right != 0 && left > c_unbounded / right ? c_unbounded : left * right;
}

std::uint64_t add(std::uint64_t left, std::uint64_t right) {
  return left > c_unbounded - right ? c_unbounded : left + right;
}

}  // namespace

ContentSize::ContentSize(const std::vector<FragmentMap>& fragments) : m_fragments(fragments) {
  for (std::size_t fragment = 0; fragment < fragments.size(); ++fragment) {
    const auto& elements = fragments[fragment].getElements();
    for (const std::size_t child : elements.front().children) {
      Names& names = elements[child].tag == "group" ? m_groups : m_types;
      if (elements[child].tag == "group" || elements[child].tag == "complexType") {
        names.emplace(elements[child].name, Key{fragment, child});
      }
    }
  }
}

std::vector<PackageSchema::Error> ContentSize::check() {
  for (std::size_t fragment = 0; fragment < m_fragments.size(); ++fragment) {
    const auto& elements = m_fragments[fragment].getElements();
    for (std::size_t element = 0; element < elements.size(); ++element) {
      if (elements[element].tag == "complexType") {
        checkType({fragment, element});
      }
    }
  }
  return std::move(m_errors);
}

std::vector<ContentSize::Key> ContentSize::particlesOf(const Key& parent) const {
  std::vector<Key> particles;
  for (const std::size_t child : at(parent).children) {
    const Key key{parent.fragment, child};
    if (isParticle(at(key))) {
      particles.push_back(key);
    }
  }
  return particles;
}

const ContentSize::Key* ContentSize::definitionOf(const Key& reference, const Names& names) const {
  const auto found = names.find(at(reference).reference);
  return found == names.end() ? nullptr : &found->second;
}

std::vector<ContentSize::Key> ContentSize::contentOf(const Key& type) const {
  std::vector<Key> content;
  const Key* current = &type;
  // A circle of types, which is an error of its own, ends as well.
  for (std::size_t steps = 0; current != nullptr && steps <= m_types.size(); ++steps) {
    const Key holder = *current;
    current = nullptr;
    Key parent = holder;
    for (const std::size_t child : at(holder).children) {
      if (at({holder.fragment, child}).tag == "complexContent") {
        for (const std::size_t derivation : at({holder.fragment, child}).children) {
          parent = {holder.fragment, derivation};
          current = at(parent).tag == "extension" ? definitionOf(parent, m_types) : nullptr;
        }
      }
    }
    const std::vector<Key> own = particlesOf(parent);
    content.insert(content.end(), own.begin(), own.end());
  }
  return content;
}

void ContentSize::checkType(const Key& type) {
  const std::vector<Key> content = contentOf(type);
  const bool keeps = std::all_of(content.begin(), content.end(), [&](const Key& part) { return keepsNumbers(part); });
  const std::size_t errors = m_errors.size();
  std::uint64_t size = 0;
  for (const Key& part : content) {
    size = add(size, sizeOf(part, keeps));
  }
  if (m_errors.size() != errors) {
    return;
  }
  if (size > c_largestModel) {
    fail(type, "the type holds " + std::to_string(size) + " elements; at most " + std::to_string(c_largestModel) +
                   " can be checked in reasonable time: put some into types of their own");
  }
}

bool ContentSize::keepsNumbers(const Key& particle) {
  const SchemaElement& element = at(particle);
  if (isLeaf(element)) {
    return true;
  }
  if (element.tag == "group") {
    const Key* const definition = definitionOf(particle, m_groups);
    if (definition == nullptr) {
      return true;
    }
    const auto [known, isNew] = m_groupKeepsNumbers.emplace(*definition, true);
    if (isNew) {
      for (const Key& part : particlesOf(*definition)) {
        const bool keeps = keepsNumbers(part);
        known->second = known->second && keeps;
      }
    }
    return isOnce(element) && known->second;
  }
  const std::vector<Key> parts = particlesOf(particle);
  if (!isOnce(element)) {
    return parts.empty() || (parts.size() == 1 && isLeaf(at(parts.front())) && isOnce(at(parts.front())));
  }
  return std::all_of(parts.begin(), parts.end(), [&](const Key& part) { return keepsNumbers(part); });
}

std::uint64_t ContentSize::sizeOf(const Key& particle, bool keepsNumbers) {
  const SchemaElement& element = at(particle);
  const std::uint64_t copies = keepsNumbers ? 1 : copiesOf(element);
  const std::uint64_t one = isLeaf(element) ? 1 : sizeOfOne(particle, keepsNumbers);
  const std::uint64_t size = multiply(copies, one);
  if (copies > 1) {
    m_copied = add(m_copied, size);
    if (size > c_largestModel || m_copied > c_largestTotal) {
      failCopies(particle, copies);
      return 0;
    }
  }
  return size;
}

std::uint64_t ContentSize::sizeOfOne(const Key& particle, bool keepsNumbers) {
  const auto sumOf = [&](const Key& parent) {
    std::uint64_t size = 0;
    for (const Key& part : particlesOf(parent)) {
      size = add(size, sizeOf(part, keepsNumbers));
    }
    return size;
  };
  if (at(particle).tag != "group") {
    return sumOf(particle);
  }
  const Key* const definition = definitionOf(particle, m_groups);
  if (definition == nullptr) {
    return 0;
  }
  // A group that holds itself, which is an error of its own, ends as well.
  const auto [known, isNew] = m_groupSizes.emplace(std::pair(*definition, keepsNumbers), 0);
  if (isNew) {
    known->second = sumOf(*definition);
  }
  return known->second;
}

void ContentSize::failCopies(const Key& particle, std::uint64_t copies) {
  const std::string times = std::to_string(copies);
  const std::string advice = "write maxOccurs=\"unbounded\" and let the program count";
  if (isLeaf(at(particle))) {
    fail(particle, "the element would be copied " + times +
                       " times, because a group beside it is repeated, which takes the parser minutes: " + advice +
                       ", or put the repeated group into an element of its own");
  } else {
    fail(particle, "the group would be copied " + times + " times, which takes the parser minutes: " + advice);
  }
  m_copied = 0;
}

void ContentSize::fail(const Key& particle, const std::string& message) {
  const Place& place = at(particle).place;
  m_errors.push_back({particle.fragment, place.line, place.column, message});
}

}  // namespace Drelvan::Private
