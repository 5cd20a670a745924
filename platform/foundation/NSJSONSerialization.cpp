#include "platform/foundation/NSJSONSerialization.h"

#include "base/Json.h"
#include "base/Text.h"

#include <cmath>
#include <utility>

namespace vitrel {
namespace {

// As the reader's limit; a deeper one would overflow some reader's stack.
constexpr int kMostDepth = 512;

class Writer
{
public:
    bool write(const Value& value, int depth = 0)
    {
        if (value.isNothing())
            return put("null");
        if (const auto* flag = value.as<bool>())
            return put(*flag ? "true" : "false");
        if (const auto* number = value.as<std::int64_t>())
            return put(std::to_string(*number));
        if (const auto* number = value.as<double>())
            return std::isfinite(*number) && put(shortestDecimal(*number));
        if (const auto* text = value.as<std::string>())
            return writeText(*text);
        return depth < kMostDepth && writeContainer(value, depth + 1);
    }

    std::string take() { return std::move(out_); }

private:
    bool put(std::string_view text)
    {
        out_ += text;
        return true;
    }

    bool writeContainer(const Value& value, int depth)
    {
        bool first = true;
        const auto separate = [&] {
            if (!std::exchange(first, false))
                out_ += ',';
        };
        if (const auto* members = value.array()) {
            out_ += '[';
            for (const auto& member : *members) {
                separate();
                if (!write(member, depth))
                    return false;
            }
            return put("]");
        }
        if (const auto* members = value.dictionary()) {
            out_ += '{';
            for (const auto& [key, member] : *members) {
                separate();
                if (!writeText(key) || !put(":") || !write(member, depth))
                    return false;
            }
            return put("}");
        }
        return false;
    }

    bool writeText(const std::string& text)
    {
        if (repairedUtf8(text) != text)
            return false;
        appendQuotedJson(out_, text);
        return true;
    }

    std::string out_;
};

} // namespace

std::optional<std::string> NSJSONSerialization::dataWithJSONObject(const Value& object)
{
    if (!object.array() && !object.dictionary())
        return std::nullopt;
    Writer writer;
    if (!writer.write(object))
        return std::nullopt;
    return writer.take();
}

} // namespace vitrel
