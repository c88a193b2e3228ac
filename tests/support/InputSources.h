#pragma once

#include <service/Xerces.h>
#include <tests/support/Documents.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

namespace TestSupport {

/// What a stream does when it runs out of text; it may throw anything.
using AtEnd = std::function<void()>;

/// A stream over a text that calls `atEnd` before it reports its end.
class ScriptedStream final : public xercesc_3_1::BinInputStream {
 public:
  ScriptedStream(std::string text, AtEnd atEnd) : m_text(std::move(text)), m_atEnd(std::move(atEnd)) {}

  XMLFilePos curPos() const override { return m_position; }

  XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t maxToRead) override {
    const std::size_t count = std::min<std::size_t>(maxToRead, m_text.size() - m_position);
    if (count == 0 && m_atEnd) {
      m_atEnd();
    }
    std::memcpy(toFill, m_text.data() + m_position, count);
    m_position += count;
    return count;
  }

  const XMLCh* getContentType() const override { return nullptr; }

 private:
  std::string m_text;
  AtEnd m_atEnd;
  std::size_t m_position = 0;
};

/// An input source over a text whose stream calls `atEnd` before it reports its end.
class ScriptedSource final : public xercesc_3_1::InputSource {
 public:
  explicit ScriptedSource(std::string text, AtEnd atEnd = nullptr, const std::string& systemId = "scripted")
      : InputSource(WideText(systemId).get()), m_text(std::move(text)), m_atEnd(std::move(atEnd)) {}

  xercesc_3_1::BinInputStream* makeStream() const override {
    return std::make_unique<ScriptedStream>(m_text, m_atEnd).release();
  }

 private:
  std::string m_text;
  AtEnd m_atEnd;
};

/// An input source whose `makeStream` calls `action`, which may throw anything, and then has no stream to give.
class NoStreamSource final : public xercesc_3_1::InputSource {
 public:
  explicit NoStreamSource(std::function<void()> action = nullptr, const std::string& systemId = "streamless")
      : InputSource(WideText(systemId).get()), m_action(std::move(action)) {}

  xercesc_3_1::BinInputStream* makeStream() const override {
    if (m_action) {
      m_action();
    }
    return nullptr;
  }

 private:
  std::function<void()> m_action;
};

}  // namespace TestSupport
