#include "platform/foundation/NSJSONSerialization.h"

#include <cmath>
#include <gtest/gtest.h>

namespace vitrel {
namespace {

std::string json(const Value& value)
{
    return NSJSONSerialization::dataWithJSONObject(value).value_or("none");
}

TEST(NSJSONSerialization, WritesContainersCompactly)
{
    EXPECT_EQ(json(Dictionary{{"b", Array{1, -2.5, true, Value(), "x"}}, {"a", Dictionary{}}}),
        R"({"a":{},"b":[1,-2.5,true,null,"x"]})");
    EXPECT_EQ(json(Array{157907045.0, 0.1, 1e300, INT64_MIN}), "[157907045,0.1,1e+300,-9223372036854775808]");
    EXPECT_EQ(json(Array{"\"\\/\n\x01é\u2028"}), "[\"\\\"\\\\/\\n\\u0001é\u2028\"]");
}

TEST(NSJSONSerialization, RefusesWhatJSONHasNoFormFor)
{
    Value deep{Array{}};
    for (int level = 0; level < 600; ++level)
        deep = Value(Array{deep});
    for (const Value& value : {Value("text"), Value(), Value(Array{std::nan("")}), Value(Array{HUGE_VAL}),
             Value(Array{Date{0}}), Value(Array{Bytes{1}}), Value(Array{"\xFF"}), deep})
        EXPECT_EQ(json(value), "none");
}

} // namespace
} // namespace vitrel
