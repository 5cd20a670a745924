// Answers of the companion, and what the track's record makes of their packets.
#include "companion/MuralisAnswer.h"
#include "music/TrackRecord.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

using namespace vitrel;

void expect(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

std::size_t levelsOf(std::string_view text)
{
    std::size_t open = 0, most = 0;
    for (const char c : text) {
        open += c == '[' || c == '{';
        most = std::max(most, open);
    }
    return most;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto answer = readMuralisAnswer({data, size});
    if (answer && answer->data) {
        Dictionary record;
        writePacket(record, *answer->data, nullptr);
        expect(record.size() > 10, "a record without its fields");
    }
    // A second reader, which builds all, as far as the limits let both read.
    if (size > 50'000 || levelsOf(text) > 500)
        return 0;
    const auto plain = nlohmann::json::parse(text, nullptr, false);
    expect(plain.is_discarded() != answer.has_value(), "one reader accepts what the other refuses");
    if (plain.is_discarded())
        return 0;
    const auto find = [&](const char* key) { return plain.is_object() ? plain.value(key, nlohmann::json()) : plain; };
    const auto change = plain.is_object() ? find("ChangeID") : nlohmann::json();
    expect(change.is_string() == answer->changeID.has_value(), "another state");
    expect(!change.is_string() || change.get<std::string>() == *answer->changeID, "another state's text");
    const auto packet = plain.is_object() ? find("Data") : nlohmann::json();
    expect(packet.is_object() == (answer->data != nullptr), "another packet");
    expect(!packet.is_object() || packet.size() == answer->data->size(), "another number of fields");
    return 0;
}
