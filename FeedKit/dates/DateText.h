#pragma once

#include "FeedKit/dates/PatternReader.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace FeedKit {

// A set of patterns.
class PatternSet
{
public:
    constexpr PatternSet() = default;
    constexpr PatternSet(std::initializer_list<Pattern> patterns)
    {
        for (const auto pattern : patterns)
            bits_ |= bit(pattern);
    }
    static constexpr PatternSet all()
    {
        PatternSet set;
        set.bits_ = (1u << kPatterns.size()) - 1;
        return set;
    }

    constexpr bool has(Pattern pattern) const { return bits_ & bit(pattern); }
    constexpr bool empty() const { return bits_ == 0; }
    constexpr void remove(PatternSet others) { bits_ &= ~others.bits_; }

private:
    static constexpr unsigned bit(Pattern pattern) { return 1u << static_cast<unsigned>(pattern); }
    unsigned bits_ = 0;
};

// A text on its way to ICU, brought to a size that can't cost much, and what can be told of it without ICU. Hostile
// feeds hold any number of dates of any length, and what ICU takes for one grows with the square of its digits.
class DateText
{
public:
    // `text` is trimmed UTF-8. Padding that changes no reading is cut: runs of blanks, of letters, of leading zeros.
    explicit DateText(std::string_view text);

    // The patterns that may read the text from `start` on; none of the others does.
    PatternSet candidates(std::size_t start = 0) const;
    // Where the text goes on behind a leading word and comma, if only letters, digits, blanks, ":", "+" and "-" follow;
    // else 0.
    std::size_t behindLeadingWord() const;
    std::optional<Date> read(Pattern pattern, std::size_t start = 0) const
    {
        return readByPattern(pattern, {units_.data() + start, unitCount_ - start});
    }

private:
    // Enough for every pattern with each field padded up to the limits in the source.
    static constexpr std::size_t kMaxCharacters = 1024;

    bool add(char32_t character, char kind);
    void encode();

    std::array<char32_t, kMaxCharacters> characters_;
    // For each character what it can be to a pattern: itself for ASCII (letters in lower case), a digit for a digit of
    // any script, a blank for any white space, '?' for the rest.
    std::array<char, kMaxCharacters> kinds_;
    std::size_t count_ = 0; // 0 also for a text that nothing can read
    std::size_t run_ = 0; // how many characters of one class stand at the end
    std::size_t zeros_ = 0; // how many zeros that run begins with
    std::array<char16_t, 2 * kMaxCharacters> units_;
    std::size_t unitCount_ = 0;
};

} // namespace FeedKit
