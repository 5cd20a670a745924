#include "programs/muralis/http/Admission.h"

#include "base/Text.h"
#include "companion/token/Token.h"
#include "support/DateKit.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>

namespace vitrel {

namespace {

// Takes the same time wherever the two differ.
bool isSameText(std::string_view given, std::string_view right)
{
    if (given.size() != right.size())
        return false;
    unsigned differences = 0;
    for (std::size_t k = 0; k < given.size(); ++k)
        differences |= static_cast<unsigned char>(given[k]) ^ static_cast<unsigned char>(right[k]);
    return differences == 0;
}

bool hasRightToken(const CompanionTarget& target)
{
    const std::string signature = companionSignature(target.id);
    const std::string seal = companionSeal(companionSealedText(signature, target.id, target.date));
    const bool signatureIsRight = isSameText(target.signature, signature);
    return isSameText(target.seal, seal) && signatureIsRight;
}

// The path that a request begins with: all ahead of its first value, without the name of that.
std::string_view pathOf(std::string_view targetHead)
{
    return targetHead.substr(0, targetHead.find('?'));
}

} // namespace

std::optional<CompanionTarget> makeCompanionTarget(std::string_view text)
{
    const std::size_t mark = text.find('?');
    if (mark == std::string_view::npos)
        return std::nullopt;
    CompanionTarget target;
    if (text.substr(0, mark) == pathOf(kCompanionDataTarget))
        target.question = CompanionQuestion::Data;
    else if (text.substr(0, mark) != pathOf(kCompanionStateTarget))
        return std::nullopt;

    std::string screen;
    struct Key {
        std::string_view name;
        std::string* value;
        bool isSeen;
    };
    std::array<Key, 5> keys{{{"screen", &screen, false}, {"s", &target.signature, false}, {"id", &target.id, false},
        {"d", &target.date, false}, {"h", &target.seal, false}}};
    for (std::string_view rest = text.substr(mark + 1);;) {
        const std::size_t end = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, end);
        const std::size_t equals = pair.find('=');
        bool isKnown = false;
        for (Key& key : keys) {
            if (equals == std::string_view::npos || pair.substr(0, equals) != key.name || key.isSeen)
                continue;
            *key.value = percentDecoded(pair.substr(equals + 1));
            isKnown = key.isSeen = true;
        }
        if (!isKnown)
            return std::nullopt;
        if (end == rest.size())
            break;
        rest.remove_prefix(end + 1);
    }
    for (const Key& key : keys) {
        if (!key.isSeen)
            return std::nullopt;
    }
    return target;
}

std::optional<Date> companionDate(std::string_view text)
{
    constexpr std::string_view form = "dddd-dd-dd dd.dd.dd.ddd";
    if (text.size() != form.size())
        return std::nullopt;
    for (std::size_t k = 0; k < form.size(); ++k) {
        if (form[k] == 'd' ? text[k] < '0' || text[k] > '9' : text[k] != form[k])
            return std::nullopt;
    }
    const auto number = [&](std::size_t at, std::size_t digits) {
        int value = 0;
        for (std::size_t k = at; k < at + digits; ++k)
            value = value * 10 + (text[k] - '0');
        return value;
    };
    const std::chrono::year_month_day day{std::chrono::year(number(0, 4)),
        std::chrono::month(static_cast<unsigned>(number(5, 2))), std::chrono::day(static_cast<unsigned>(number(8, 2)))};
    const int hour = number(11, 2), minute = number(14, 2), second = number(17, 2);
    if (!day.ok() || hour > 23 || minute > 59 || second > 59)
        return std::nullopt;
    const double days = std::chrono::sys_days(day).time_since_epoch().count();
    return Date{days * 86400 + hour * 3600 + minute * 60 + second + number(20, 3) / 1000.0};
}

// A saver writes the date in the calendar and the digits of its user, and may have been started in an environment that
// isn't this program's.
bool Admission::isCurrent(std::string_view text) const
{
    const auto isNear = [now = clock_.date().secondsSince1970](
                            Date date) { return std::abs(date.secondsSince1970 - now) <= kMostApart; };
    if (const auto date = companionDate(text))
        if (isNear(*date))
            return true;
    const auto dates = datesFromUniversalDatetime(text, kCompanionDatePattern);
    return std::any_of(dates.begin(), dates.end(), isNear);
}

std::optional<CompanionQuestion> Admission::admit(const HttpRequest& request, const std::function<bool()>& isOwnCaller)
{
    const auto target = makeCompanionTarget(request.target);
    if (!target)
        return std::nullopt;
    const auto identity = makeIdentity(target->id);
    if (!identity || !hasRightToken(*target))
        return std::nullopt;
    if (!isCurrent(target->date))
        return std::nullopt;
    if (request.method != "GET" || request.isFromPage || !isLoopbackHost(request.host))
        return std::nullopt;
    if (!isOwnCaller() || !used_.use(*identity, clock_.now()))
        return std::nullopt;
    return target->question;
}

} // namespace vitrel
