#include "platform/foundation/PropertyList.h"
#include "support/Repeated.h"

#include <gmock/gmock.h>
#include <plist/plist.h>

#include <limits>

namespace vitrel {
namespace {

std::optional<Value> read(std::string_view text)
{
    return propertyListWithData(bytesOf(text));
}

std::string framed(std::string_view inside)
{
    return "<plist version=\"1.0\">" + std::string(inside) + "</plist>";
}

// A binary file put together by hand: objects as given, offsets and trailer of one byte each size.
Bytes binaryFile(const std::vector<std::string>& objects, std::size_t referenceSize = 1, std::size_t offsetSize = 2)
{
    std::string out = "bplist00";
    std::vector<std::size_t> offsets;
    for (const std::string& object : objects) {
        offsets.push_back(out.size());
        out += object;
    }
    const std::size_t table = out.size();
    const auto number = [&](std::uint64_t value, std::size_t size) {
        for (std::size_t k = size; k-- > 0;)
            out += static_cast<char>(value >> (8 * k));
    };
    for (const std::size_t offset : offsets)
        number(offset, offsetSize);
    for (const auto& [value, size] : {std::pair<std::size_t, std::size_t>{0, 6}, {offsetSize, 1}, {referenceSize, 1},
             {objects.size(), 8}, {0, 8}, {table, 8}})
        number(value, size);
    return Bytes(out.begin(), out.end());
}

std::string bytes(std::initializer_list<int> values)
{
    std::string out;
    for (const int value : values)
        out += static_cast<char>(value);
    return out;
}

Dictionary everyKind()
{
    const Value shared(Array{Value(1), Value("two"), Value(Dictionary{{"three", 3.5}})});
    return {{"yes", true}, {"no", false}, {"small", 7}, {"byte", 200}, {"word", 65535}, {"long", std::int64_t(1) << 40},
        {"negative", -1}, {"least", std::numeric_limits<std::int64_t>::min()}, {"real", 0.1}, {"huge", 1e300},
        {"date", Date{1335787141}}, {"text", "a <b> & \"c\"\n\tend "}, {"wide", "gr\xC3\xBC\xC3\x9F \xF0\x9F\x8E\xB5"},
        {"empty", ""}, {"data", Bytes{0, 1, 254, 255}}, {"nodata", Bytes{}}, {"list", shared}, {"again", shared},
        {"none", Array{}}, {"nothing at all", Dictionary{}}, {"long text", std::string(70000, 'x')}};
}

// A writer that forgets that it has seen a container writes a billion of them.
TEST(PropertyList, WritesAnObjectThatIsSharedAsOneAndReadsItWhereItIsMetAMillionTimesAtMost)
{
    const auto doubled = [](int levels, Value value) {
        for (int level = 0; level < levels; ++level)
            value = Value(Array{value, value});
        return value;
    };
    const Value billion = doubled(30, Array{Value("leaf")});
    const Bytes written = binaryPropertyList(billion);
    EXPECT_LT(written.size(), 1000u);
    EXPECT_FALSE(propertyListWithData(written)) << "whoever walks it takes gigabytes";
    EXPECT_EQ(xmlPropertyList(billion), "") << "the text has no way to share";

    const auto again = propertyListWithData(binaryPropertyList(doubled(15, Array{Value("leaf")})));
    ASSERT_TRUE(again);
    EXPECT_EQ((*again->array())[0].array(), (*again->array())[1].array()) << "one object, not two equal ones";
    EXPECT_FALSE(propertyListWithData(binaryPropertyList(doubled(14, Array{std::string(20'000, 'x')}))))
        << "few members, and 300 MB of text";
    EXPECT_TRUE(propertyListWithData(binaryPropertyList(doubled(14, Bytes(20'000, 'x'))))) << "data isn't copied";
}

TEST(PropertyList, LeavesOutWhatHasNoForm)
{
    const Value value(
        Dictionary{{"color", NSColor{1, 0, 0, 1}}, {"list", Array{Value(), Value(1)}}, {"none", Value()}});
    const Value kept(Dictionary{{"list", Array{Value(1)}}});
    EXPECT_EQ(propertyListWithData(binaryPropertyList(value)), kept);
    EXPECT_EQ(read(xmlPropertyList(value)), kept);
}

// Files in the store must stay readable whatever a user typed into a field.
TEST(PropertyList, TheTextFormIsWellFormedWhateverTheTextHolds)
{
    for (const char* text : {"\x01\x1F", "\xFF\xFE", "\xEF\xBF\xBF", "]]>", "\xED\xA0\x80", "<!--"})
        EXPECT_TRUE(read(xmlPropertyList(Value(Dictionary{{text, text}})))) << text;
}

TEST(PropertyList, ReadsTheKindsOfTheBinaryForm)
{
    const std::tuple<std::string, Value, const char*> cases[] = {
        {bytes({0x00}), Value(), "null"},
        {bytes({0x09}), true, "true"},
        {bytes({0x10, 0xFF}), 255, "one byte has no sign"},
        {bytes({0x12, 0xFF, 0xFF, 0xFF, 0xFF}), std::int64_t(4294967295), "nor have four"},
        {bytes({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}), -2, "eight have"},
        {bytes({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0}), std::numeric_limits<std::int64_t>::max(),
            "sixteen saturate"},
        {bytes({0x14, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}),
            -2, "and have a sign"},
        {bytes({0x22, 0x40, 0x20, 0, 0}), 2.5, "a float"},
        {bytes({0x33, 0, 0, 0, 0, 0, 0, 0, 0}), Date{978307200}, "2001"},
        {bytes({0x81, 0x01, 0x02}), 258, "a UID of two bytes"},
        {bytes({0x62, 0x00, 'a', 0xD8, 0x00}), "a\xEF\xBF\xBD", "half a pair"},
        {bytes({0x61, 0x20, 0xAC}), "\xE2\x82\xAC", "a euro"},
        {bytes({0xC0}), Value(Array{}), "a set"},
    };
    for (const auto& [object, value, why] : cases)
        EXPECT_EQ(propertyListWithData(binaryFile({object})), value) << why;
}

TEST(PropertyList, ReadsTheTextFormAsPeopleWriteIt)
{
    const std::tuple<const char*, std::optional<Value>, const char*> cases[] = {
        {"<integer> -12 </integer>", -12, "blanks around a number"}, {"<integer>0xff</integer>", 255, "hexadecimal"},
        {"<integer>99999999999999999999</integer>", std::numeric_limits<std::int64_t>::max(), "saturates"},
        {"<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min(), "the least"},
        {"<integer>1x</integer>", std::nullopt, "no number"}, {"<integer></integer>", std::nullopt, "an empty number"},
        {"<real>+1.5e3</real>", 1500.0, "a sign"}, {"<date>2012-04-30T11:59:01Z</date>", Date{1335787141}, "a date"},
        {"<date>2012-02-30T11:59:01Z</date>", std::nullopt, "no such day"},
        {"<data>\n\tAAH+\n\t/w==\n</data>", Bytes{0, 1, 254, 255}, "broken into lines"},
        {"<data>A</data>", std::nullopt, "no base64"},
        {"<string>a<![CDATA[<b>]]>&#x20AC;</string>", "a<b>\xE2\x82\xAC", "pieces join"},
        {"<!-- x --><true/>", true, "a comment"}, {"<dict><key>CF$UID</key><integer>5</integer></dict>", 5, "a UID"},
        {"<dict><key>a</key></dict>", std::nullopt, "a key without a value"},
        {"<dict><true/></dict>", std::nullopt, "a value without a key"},
        {"<dict><key>a</key><key>b</key></dict>", std::nullopt, "two keys"},
        {"<array><key>a</key></array>", std::nullopt, "a key in an array"},
        {"<string><true/></string>", std::nullopt, "an element in a text"},
        {"<array>x</array>", std::nullopt, "text in an array"}, {"<true/><true/>", std::nullopt, "two values"},
        {"", std::nullopt, "no value"}, {"<blink/>", std::nullopt, "an unknown element"}};
    for (const auto& [inside, value, why] : cases)
        EXPECT_EQ(read(framed(inside)), value) << why;
    EXPECT_EQ(read("\n  <?xml version=\"1.0\"?>\n" + framed("<true/>")), Value(true)) << "blanks ahead of it";
    EXPECT_EQ(read("<array><true/></array>"), Value(Array{true})) << "no plist around it";
    for (const char* declared : {"<!ENTITY a \"x\">", "<!ENTITY % a \"x\">", "<!ATTLIST string a CDATA \"x\">",
             "<!ATTLIST string a CDATA #IMPLIED>"})
        EXPECT_EQ(read(std::string("<!DOCTYPE plist [") + declared + "]>" + framed("<true/>")), std::nullopt)
            << declared << ": declarations of its own";
}

// Each of these has ended a reader somewhere: by recursion, by a count it believed, by copies.
TEST(PropertyList, RefusesHostileFiles)
{
    std::vector<std::string> deep;
    for (int level = 0; level < 60000; ++level)
        deep.push_back(bytes({0xA1, (level + 1) >> 16, (level + 1) >> 8, level + 1}));
    deep.push_back(bytes({0x09}));
    EXPECT_FALSE(propertyListWithData(binaryFile(deep, 3, 4))) << "60,000 nested arrays";

    const auto isRead
        = [](const std::vector<std::string>& objects) { return propertyListWithData(binaryFile(objects)).has_value(); };
    EXPECT_FALSE(isRead({bytes({0xA1, 0x00})})) << "an array in itself";
    EXPECT_FALSE(isRead({bytes({0xA1, 0x01}), bytes({0xD1, 0x02, 0x00}), bytes({0x51, 'k'})})) << "a circle of two";
    EXPECT_FALSE(isRead({bytes({0xD1, 0x01, 0x01}), bytes({0x09})})) << "a key that is no text";
    for (const int kind : {0x4F, 0x5F, 0x6F, 0xAF, 0xDF})
        EXPECT_FALSE(isRead({bytes({kind, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}))
            << "a count that can't be, of kind " << kind;
    std::string wide = bytes({0xAF, 0x12, 0x00, 0x98, 0x96, 0x80}); // ten million times the same text
    wide.append(10'000'000, '\1');
    EXPECT_FALSE(propertyListWithData(binaryFile({wide, bytes({0x51, 'x'})}, 1, 4)));

    EXPECT_FALSE(read(repeated("<array>", 1'000'000))) << "a million nested arrays of XML";
}

TEST(PropertyList, ReadsWhatIsAsDeepAsItWrites)
{
    Value value(Array{});
    for (int level = 1; level < 512; ++level)
        value = Value(Array{value});
    EXPECT_EQ(propertyListWithData(binaryPropertyList(value)), value);
    EXPECT_EQ(read(xmlPropertyList(value)), value);
    value = Value(Array{value});
    EXPECT_TRUE(binaryPropertyList(value).empty());
    EXPECT_TRUE(xmlPropertyList(value).empty());
}

// A file that was cut in a download or by a full disk.
TEST(PropertyList, RefusesAFileThatIsCutAnywhere)
{
    const Value value(Dictionary{{"a", Array{1, "x", 2.5}}, {"d", Bytes{1, 2, 3}}});
    const Bytes binary = binaryPropertyList(value);
    for (std::size_t size = 0; size < binary.size(); ++size)
        EXPECT_FALSE(propertyListWithData(ByteView(binary).first(size))) << size;
    const std::string text = xmlPropertyList(value);
    for (std::size_t size = 0; size + 1 < text.size(); ++size)
        EXPECT_FALSE(read(text.substr(0, size))) << size;
}

// Any byte of a file may be wrong: whatever is read then must be writable, and nothing may crash.
TEST(PropertyList, SurvivesEveryWrongByte)
{
    Bytes binary = binaryPropertyList(everyKind().at("list"));
    for (std::size_t at = 0; at < binary.size(); ++at) {
        const std::uint8_t right = binary[at];
        for (int wrong = 0; wrong < 256; ++wrong) {
            binary[at] = static_cast<std::uint8_t>(wrong);
            if (const auto value = propertyListWithData(binary)) {
                EXPECT_TRUE(propertyListWithData(binaryPropertyList(*value)));
            }
        }
        binary[at] = right;
    }
}

// The packaged library reads a file a second time, on its own road; what it has read comes over as its own text.
std::optional<Value> readByAnother(ByteView data)
{
    plist_t node = nullptr;
    // By the form, as the call for both has another parameter in each version.
    (textOf(data).starts_with("bplist") ? plist_from_bin : plist_from_xml)(
        reinterpret_cast<const char*>(data.data()), static_cast<std::uint32_t>(data.size()), &node);
    char* text = nullptr;
    std::uint32_t size = 0;
    plist_to_xml(node, &text, &size);
    const std::string copy(text ? text : "", size);
    free(text);
    plist_free(node);
    return read(copy);
}

TEST(PropertyList, ComesBackFromBothFormsAlsoByAnotherReader)
{
    Dictionary value = everyKind();
    EXPECT_EQ(readByAnother(binaryPropertyList(value)), Value(value));
    EXPECT_EQ(readByAnother(bytesOf(xmlPropertyList(value))), Value(value));
    value["line ends"] = "\r\n"; // the other writes them as they are, and a reader of XML takes them for one
    EXPECT_EQ(propertyListWithData(binaryPropertyList(value)), Value(value));
    EXPECT_EQ(read(xmlPropertyList(value)), Value(value));
}

} // namespace
} // namespace vitrel
