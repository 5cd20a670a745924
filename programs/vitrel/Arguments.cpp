#include "programs/vitrel/Arguments.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace vitrel {

namespace {

constexpr const char* kUsualWindow = "1280x720";

// What screen saver daemons of all ages put on a command line.
constexpr std::string_view kSingleDash[]
    = {"root", "window-id", "window", "fps", "visual", "mono", "install", "noinstall", "display"};

std::string withBothDashes(std::string word)
{
    if (word.size() < 3 || word[0] != '-' || word[1] == '-')
        return word;
    const std::string_view name = std::string_view(word).substr(1, word.find('=') - 1);
    const bool known = std::find(std::begin(kSingleDash), std::end(kSingleDash), name) != std::end(kSingleDash);
    return known ? "-" + word : word;
}

bool looksLikeSize(const std::string& word)
{
    return word.find_first_of("0123456789") == 0 && word.find('x') != std::string::npos
        && word.find_first_not_of("0123456789x") == std::string::npos;
}

} // namespace

std::vector<std::string> mendedArguments(std::vector<std::string> words, const std::vector<std::string>& commands)
{
    const bool named = !words.empty() && std::find(commands.begin(), commands.end(), words[0]) != commands.end();
    const bool general = !words.empty() && (words[0] == "--help" || words[0] == "-h" || words[0] == "--version");
    if (!named && !general)
        words.insert(words.begin(), "play");
    if (words[0] != "play")
        return words;
    std::vector<std::string> mended;
    for (std::size_t k = 0; k < words.size(); ++k) {
        if (words[k] == "--") {
            mended.insert(mended.end(), words.begin() + std::ptrdiff_t(k), words.end());
            break;
        }
        std::string word = withBothDashes(words[k]);
        if (word == "--window") {
            const bool sized = k + 1 < words.size() && looksLikeSize(words[k + 1]);
            word += "=" + (sized ? words[++k] : kUsualWindow);
        }
        mended.push_back(std::move(word));
    }
    return mended;
}

unsigned long parseWindowNumber(const std::string& text)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char *first = text.data() + (hex ? 2 : 0), *last = text.data() + text.size();
    std::uint32_t number = 0; // window numbers of the protocol have 29 bits
    const auto [end, error] = std::from_chars(first, last, number, hex ? 16 : 10);
    return error == std::errc() && end == last ? number : 0;
}

std::optional<std::pair<int, int>> parseSize(const std::string& text)
{
    constexpr int kMaxSide = 8192;
    std::pair<int, int> size;
    const char* end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.first);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x')
        return std::nullopt;
    const auto height = std::from_chars(width.ptr + 1, end, size.second);
    const auto sound = [](int side) { return side >= 1 && side <= kMaxSide; };
    if (height.ec != std::errc() || height.ptr != end || !sound(size.first) || !sound(size.second))
        return std::nullopt;
    return size;
}

} // namespace vitrel
