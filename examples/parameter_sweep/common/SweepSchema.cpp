#include <examples/parameter_sweep/common/SweepSchema.h>

#include <string>
#include <vector>

namespace ParameterSweep {

namespace {

constexpr const char* c_valueTypes = R"xsd(
<!-- SweepSchema -->
<xs:simpleType name="SweepExpression">
  <xs:restriction base="xs:string">
    <xs:minLength value="1"/>
    <xs:maxLength value="4096"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepState">
  <xs:restriction base="xs:string">
    <xs:enumeration value="Queued"/>
    <xs:enumeration value="Running"/>
    <xs:enumeration value="Finished"/>
    <xs:enumeration value="Failed"/>
    <xs:enumeration value="Cancelled"/>
    <xs:enumeration value="Unknown"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepProgress">
  <xs:restriction base="xs:double">
    <xs:minInclusive value="0"/>
    <xs:maxInclusive value="1"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepTitle">
  <xs:restriction base="xs:string">
    <xs:maxLength value="200"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepPriority">
  <xs:restriction base="xs:int">
    <xs:minInclusive value="-100"/>
    <xs:maxInclusive value="100"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepCount">
  <xs:restriction base="xs:unsignedInt">
    <xs:minInclusive value="1"/>
  </xs:restriction>
</xs:simpleType>
)xsd";

enum class Occurs { Once, Optionally, AnyNumber, AtLeastOnce };

struct Element {
  const char* name;
  const char* type;
  Occurs occurs = Occurs::Once;
};

using Elements = std::vector<Element>;

const Element c_jobId{"jobId", "dvrq:DVJobId"};
const Element c_title{"title", "dvrq:SweepTitle", Occurs::Optionally};
const Element c_owner{"owner", "xs:string", Occurs::Optionally};
const Element c_priority{"priority", "dvrq:SweepPriority", Occurs::Optionally};
const Element c_expression{"expression", "dvrq:SweepExpression"};
const Element c_vectors{"parameterVector", "dvrq:DVPellamParameterVector", Occurs::AtLeastOnce};
const Element c_after{"after", "xs:unsignedLong", Occurs::Optionally};
const Element c_next{"next", "xs:unsignedLong", Occurs::Optionally};

std::string toXml(const Elements& elements) {
  static const char* const s_occurs[] = {"", R"( minOccurs="0")", R"( minOccurs="0" maxOccurs="unbounded")",
                                         R"( maxOccurs="unbounded")"};
  std::string xml = "<xs:sequence>\n";
  for (const Element& element : elements) {
    xml += std::string("<xs:element name=\"") + element.name + "\" type=\"" + element.type + "\"" +
           s_occurs[static_cast<int>(element.occurs)] + "/>\n";
  }
  return xml + "</xs:sequence>\n";
}

std::string type(const std::string& name, const std::string& content) {
  return "<xs:complexType name=\"" + name + "\">\n" + content + "</xs:complexType>\n";
}

/// A type that adds elements to the base schema's `Request` or `Reply`.
std::string extend(const std::string& base, const std::string& name, const Elements& elements) {
  return type(name, "<xs:complexContent>\n<xs:extension base=\"dvrq:" + base + "\">\n" + toXml(elements) +
                        "</xs:extension>\n</xs:complexContent>\n");
}

std::string request(const std::string& kind, const Elements& elements) {
  return extend("Request", "Sweep" + kind + "Request", elements);
}

std::string reply(const std::string& name, const Elements& elements) { return extend("Reply", name, elements); }

std::string requests() {
  return request("Submit", {c_jobId,
                            c_title,
                            c_priority,
                            {"partSize", "dvrq:SweepCount", Occurs::Optionally},
                            {"more", "xs:boolean", Occurs::Optionally},
                            c_expression,
                            c_vectors}) +
         request("Append", {c_jobId, {"packageNumber", "dvrq:SweepCount"}, {"more", "xs:boolean"}, c_vectors}) +
         request("Again", {c_jobId, c_title, c_priority, {"ofJob", "dvrq:DVJobId"}}) + request("Status", {c_jobId}) +
         request("Result", {c_jobId, c_after}) + request("Cancel", {c_jobId}) + request("Log", {c_jobId, c_after}) +
         request("Output", {c_jobId, c_after, {"follow", "xs:boolean", Occurs::Optionally}}) +
         request("Remove", {c_jobId}) +
         request("List", {{"state", "dvrq:SweepState", Occurs::Optionally},
                          c_owner,
                          {"before", "xs:unsignedLong", Occurs::Optionally}}) +
         request("Ping", {}) + request("Follow", {c_jobId}) +
         // What the server asks of a job program; the packages of the sweep follow.
         request("Compute", {c_jobId, {"skip", "xs:unsignedLong"}, {"count", "xs:unsignedLong"}, c_expression});
}

/// The types of which replies are made, and what all replies about a job hold.
const Elements c_host{{"name", "xs:string"},
                      {"ip", "xs:string"},
                      {"requestServerPort", "xs:unsignedShort", Occurs::Optionally},
                      {"publisherPort", "xs:unsignedShort", Occurs::Optionally}};

const Elements c_realization{{"realizationId", "xs:unsignedInt"}, {"value", "xs:double"}};

const Elements c_job{c_jobId,
                     c_title,
                     c_owner,
                     {"state", "dvrq:SweepState"},
                     {"progress", "dvrq:SweepProgress"},
                     {"host", "dvrq:SweepHost", Occurs::Optionally},
                     {"server", "dvrq:SweepHost", Occurs::Optionally},
                     c_priority,
                     {"realizations", "xs:unsignedLong", Occurs::Optionally},
                     {"parts", "xs:unsignedInt", Occurs::Optionally},
                     {"partsDone", "xs:unsignedInt", Occurs::Optionally},
                     {"partsRunning", "xs:unsignedInt", Occurs::Optionally},
                     {"submitted", "xs:long", Occurs::Optionally},
                     {"started", "xs:long", Occurs::Optionally},
                     {"ended", "xs:long", Occurs::Optionally},
                     {"exception", "dvrq:DVException", Occurs::Optionally}};

const Elements c_health{{"server", "dvrq:SweepHost"},
                        {"version", "xs:string"},
                        {"upSeconds", "xs:double"},
                        {"engine", "xs:string"},
                        {"engineError", "xs:string", Occurs::Optionally},
                        {"storeError", "xs:string", Occurs::Optionally},
                        {"queued", "xs:unsignedLong"},
                        {"running", "xs:unsignedLong"},
                        {"partsRunning", "xs:unsignedLong"},
                        {"bytesFree", "xs:unsignedLong"}};

std::string replies() {
  return type("SweepHost", toXml(c_host)) + type("SweepRealization", toXml(c_realization)) +
         type("SweepJob", toXml(c_job)) + reply("SweepStatusReply", c_job) +
         reply("SweepReceivedReply", {c_jobId, {"packages", "xs:unsignedInt"}, {"realizations", "xs:unsignedLong"}}) +
         reply("SweepResultReply", {c_jobId,
                                    {"first", "xs:unsignedLong", Occurs::Optionally},
                                    {"total", "xs:unsignedLong", Occurs::Optionally},
                                    {"realization", "dvrq:SweepRealization", Occurs::AnyNumber}}) +
         reply("SweepLogReply", {c_jobId, c_next, {"logMessage", "dvrq:LogMessage", Occurs::AnyNumber}}) +
         reply("SweepOutputReply",
               {c_jobId, {"next", "xs:unsignedLong"}, {"more", "xs:boolean"}, {"text", "xs:string"}}) +
         reply("SweepListReply", {c_next, {"job", "dvrq:SweepJob", Occurs::AnyNumber}}) +
         reply("SweepRemovedReply", {c_jobId}) + reply("SweepPingReply", c_health) +
         reply("SweepRefusal", {{"exception", "dvrq:DVException"}});
}

}  // namespace

SweepSchema::SweepSchema() { m_schema = c_valueTypes + requests() + replies(); }

}  // namespace ParameterSweep
