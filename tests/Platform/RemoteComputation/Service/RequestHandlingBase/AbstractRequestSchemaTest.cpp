#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace {

using Drelvan::AbstractRequestSchema;
using Drelvan::BaseRequestHandlingSchema;

const std::string c_opening =
    "<xs:schema xmlns:dvrq =\"http://drelvan.example/schemas/DVRequests.xsd\" elementFormDefault=\"qualified\" "
    "targetNamespace=\"http://drelvan.example/schemas/DVRequests.xsd\" "
    "xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
const std::string c_header = "<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n" + c_opening;

/// A fragment of a service program, with a view on what its base class holds.
class Fragment final : public AbstractRequestSchema {
 public:
  Fragment() = default;
  explicit Fragment(const std::string& components) { m_schema = components; }

  const std::string& header() const { return m_header; }
  const std::string& footer() const { return m_footer; }
  bool membersFollowInOrder() const { return &m_header + 1 == &m_schema && &m_schema + 1 == &m_footer; }
};

// A plain value: no virtual functions, no base class, three strings.
static_assert(!std::is_polymorphic_v<AbstractRequestSchema>);
static_assert(!std::has_virtual_destructor_v<AbstractRequestSchema>);
static_assert(std::is_standard_layout_v<AbstractRequestSchema>);
static_assert(sizeof(AbstractRequestSchema) == 3 * sizeof(std::string));
static_assert(!std::is_default_constructible_v<AbstractRequestSchema>, "only derived classes make one");
static_assert(std::is_copy_constructible_v<AbstractRequestSchema>);
static_assert(std::is_copy_assignable_v<AbstractRequestSchema>);
static_assert(std::is_nothrow_move_constructible_v<AbstractRequestSchema>);
static_assert(std::is_nothrow_move_assignable_v<AbstractRequestSchema>);
static_assert(std::is_nothrow_destructible_v<AbstractRequestSchema>);

static_assert(std::is_base_of_v<AbstractRequestSchema, BaseRequestHandlingSchema>);
static_assert(std::is_convertible_v<BaseRequestHandlingSchema*, AbstractRequestSchema*>, "a public base");
static_assert(!std::is_polymorphic_v<BaseRequestHandlingSchema>);
static_assert(sizeof(BaseRequestHandlingSchema) == sizeof(AbstractRequestSchema), "no further members");
static_assert(std::is_default_constructible_v<BaseRequestHandlingSchema>);

static_assert(
    std::is_same_v<decltype(&AbstractRequestSchema::getSchema), std::string (AbstractRequestSchema::*)() const>);
static_assert(std::is_same_v<decltype(&AbstractRequestSchema::getSchemaNoHeader),
                             const std::string& (AbstractRequestSchema::*)() const>);

const std::string c_short = "<!-- s -->";
const std::string c_long = "<xs:element name=\"" + std::string(100, 'x') + "\" type=\"xs:string\"/>";

std::string documentOf(const std::string& fragment) { return c_header + "\n" + fragment + "\n</xs:schema>"; }

void expectEmpty(const Fragment& schema) {
  EXPECT_EQ(schema.header(), "");
  EXPECT_EQ(schema.getSchemaNoHeader(), "");
  EXPECT_EQ(schema.footer(), "");
  EXPECT_EQ(schema.getSchema(), "\n\n");
}

TEST(AbstractRequestSchema, EmptyFragmentYieldsHeaderTwoLineFeedsAndFooter) {
  const Fragment schema;
  EXPECT_EQ(schema.getSchema(), c_header + "\n\n</xs:schema>");
  EXPECT_EQ(schema.getSchemaNoHeader(), "");
  EXPECT_EQ(schema.header(), c_header);
  EXPECT_EQ(schema.footer(), "</xs:schema>");
}

TEST(AbstractRequestSchemaContractTest, KeepsItsThreeTextsInOrder) { EXPECT_TRUE(Fragment().membersFollowInOrder()); }

TEST(AbstractRequestSchema, FragmentIsUnchangedBetweenHeaderAndFooter) {
  for (const std::string& fragment : {c_short, c_long, std::string("  \n\t"), std::string("not < a schema")}) {
    SCOPED_TRACE(fragment);
    const Fragment schema(fragment);
    EXPECT_EQ(schema.getSchema(), documentOf(fragment));
    EXPECT_EQ(schema.getSchemaNoHeader(), fragment);
  }
}

TEST(AbstractRequestSchema, SchemaIsBuiltFreshAndFragmentIsAReference) {
  const Fragment schema(c_long);
  EXPECT_NE(schema.getSchema().data(), schema.getSchema().data());
  EXPECT_EQ(&schema.getSchemaNoHeader(), &schema.getSchemaNoHeader());
}

TEST(AbstractRequestSchema, CopyYieldsTheSameSchemaAndLeavesTheSource) {
  for (const std::string& fragment : {c_short, c_long}) {
    const Fragment source(fragment);
    const Fragment copy(source);
    EXPECT_EQ(copy.getSchema(), documentOf(fragment));
    EXPECT_EQ(source.getSchema(), documentOf(fragment));
    EXPECT_NE(&copy.getSchemaNoHeader(), &source.getSchemaNoHeader());
  }
}

TEST(AbstractRequestSchema, CopyAssignmentReplacesTheTextsAndReturnsTheTarget) {
  const Fragment source(c_long);
  Fragment target(c_short);
  EXPECT_EQ(&(target = source), &target);
  EXPECT_EQ(target.getSchema(), documentOf(c_long));
  EXPECT_EQ(source.getSchema(), documentOf(c_long));
}

TEST(AbstractRequestSchema, MoveTakesTheTextsAndLeavesTheSourceEmpty) {
  for (const std::string& fragment : {c_short, c_long}) {
    Fragment source(fragment);
    const Fragment moved(std::move(source));
    EXPECT_EQ(moved.getSchema(), documentOf(fragment));
    expectEmpty(source);  // NOLINT(bugprone-use-after-move): empty texts are promised
  }
}

TEST(AbstractRequestSchema, MoveAssignmentTakesTheTextsAndLeavesTheSourceEmpty) {
  for (const std::string& fragment : {c_short, c_long}) {
    Fragment source(fragment);
    Fragment target("<!-- replaced -->");
    EXPECT_EQ(&(target = std::move(source)), &target);
    EXPECT_EQ(target.getSchema(), documentOf(fragment));
    expectEmpty(source);  // NOLINT(bugprone-use-after-move): empty texts are promised
  }
}

TEST(AbstractRequestSchema, AssignmentToItselfKeepsTheTexts) {
  Fragment schema(c_long);
  Fragment& same = schema;
  schema = same;
  EXPECT_EQ(schema.getSchema(), documentOf(c_long));
  schema = std::move(same);
  EXPECT_EQ(schema.getSchema(), documentOf(c_long));
}

TEST(AbstractRequestSchema, MovedFromObjectCanBeAssignedAgain) {
  Fragment source(c_short);
  const Fragment moved(std::move(source));
  source = Fragment(c_long);
  EXPECT_EQ(source.getSchema(), documentOf(c_long));
  EXPECT_EQ(moved.getSchema(), documentOf(c_short));
}

TEST(BaseRequestHandlingSchema, FragmentBeginsAndEndsAsFixed) {
  const BaseRequestHandlingSchema schema;
  const std::string& fragment = schema.getSchemaNoHeader();
  EXPECT_EQ(fragment.rfind("\n<!-- BaseRequestHandlingSchema -->\n", 0), 0U);
  ASSERT_GT(fragment.size(), 3U);
  EXPECT_EQ(fragment.substr(fragment.size() - 3), ">\n\n");
}

TEST(BaseRequestHandlingSchema, DocumentIsTheWrappedFragment) {
  const BaseRequestHandlingSchema schema;
  const std::string document = schema.getSchema();
  EXPECT_EQ(document, documentOf(schema.getSchemaNoHeader()));
  EXPECT_EQ(document.rfind(c_header + "\n\n<!-- BaseRequestHandlingSchema -->\n", 0), 0U) << "two empty lines";
  EXPECT_EQ(document.substr(0, document.find('\n')), "<?xml version=\"1.0\" encoding=\"us-ascii\"?>");
  EXPECT_EQ(document.find("<xs:schema xmlns:dvrq ="), document.find('\n') + 1) << "the second line";
}

TEST(BaseRequestHandlingSchema, IsAsciiWithoutDeclarationOrSchemaElement) {
  const BaseRequestHandlingSchema schema;
  const std::string& fragment = schema.getSchemaNoHeader();
  for (const char character : fragment) {
    ASSERT_GT(character, 0);
  }
  EXPECT_EQ(fragment.find("<?"), std::string::npos);
  EXPECT_EQ(fragment.find("<xs:schema"), std::string::npos);
  EXPECT_EQ(fragment.find("</xs:schema"), std::string::npos);
  EXPECT_EQ(fragment.find('\r'), std::string::npos);
}

TEST(BaseRequestHandlingSchema, ComponentsAreInTheFixedOrder) {
  const std::string fragment = BaseRequestHandlingSchema().getSchemaNoHeader();
  std::size_t last = 0;
  for (const char* start :
       {"simpleType name=\"DVUid\"", "complexType name=\"DVJobId\"", "simpleType name=\"DVTimestamp\"",
        "complexType name=\"DVException\"", "complexType name=\"DVData\"", "complexType name=\"Request\"",
        "complexType name=\"Reply\"", "complexType name=\"LogMessage\"", "complexType name=\"DVPellamParameterVector\"",
        "complexType name=\"RequestPackage\"", "complexType name=\"ReplyPackage\"",
        "element name=\"DV_RequestPackage\"", "element name=\"DV_ReplyPackage\"", "element name=\"DV_Request\"",
        "element name=\"DV_Reply\"", "element name=\"DV_RequestScript\"", "element name=\"DV_ReplyScript\""}) {
    SCOPED_TRACE(start);
    const std::size_t position = fragment.find(std::string("<xs:") + start);
    ASSERT_NE(position, std::string::npos);
    EXPECT_GT(position, last);
    last = position;
  }
}

TEST(BaseRequestHandlingSchema, EveryObjectHoldsTheSameText) {
  EXPECT_EQ(BaseRequestHandlingSchema().getSchema(), BaseRequestHandlingSchema().getSchema());
}

TEST(BaseRequestHandlingSchema, IsCopiedAndMovedAsItsBase) {
  const std::string document = BaseRequestHandlingSchema().getSchema();
  BaseRequestHandlingSchema source;
  const BaseRequestHandlingSchema copy(source);
  EXPECT_EQ(copy.getSchema(), document);
  const BaseRequestHandlingSchema moved(std::move(source));
  EXPECT_EQ(moved.getSchema(), document);
  EXPECT_EQ(source.getSchema(), "\n\n");  // NOLINT(bugprone-use-after-move): empty texts are promised
  const AbstractRequestSchema sliced(copy);
  EXPECT_EQ(sliced.getSchema(), document);
  source = copy;
  EXPECT_EQ(source.getSchema(), document);
}

}  // namespace
