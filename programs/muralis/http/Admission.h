#pragma once

#include "base/Clock.h"
#include "programs/muralis/http/HttpRequest.h"
#include "programs/muralis/http/UsedIdentities.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vitrel {

// What a request that was let in asks for.
enum class CompanionQuestion { State, Data };

// The parts of a request's target. All values are decoded; "+" stands for itself.
struct CompanionTarget {
    CompanionQuestion question = CompanionQuestion::State;
    std::string signature, id, date, seal;
};

// The keys may stand in any order, each of them once and no others. Absent for any other target. Any thread.
std::optional<CompanionTarget> makeCompanionTarget(std::string_view target);

// A request's date, as "2026-11-16 21.54.29.123" in UTC; absent for anything else.
std::optional<Date> companionDate(std::string_view text);

// Decides which requests are let in. The salts of the token are no secret, so the token alone proves nothing. One
// thread.
class Admission
{
public:
    // A date may be so far off, to either side.
    static constexpr double kMostApart = 300; // seconds

    // The clock must outlive this.
    explicit Admission(const Clock& clock)
        : clock_(clock)
    { }
    // Absent if it is refused. The token comes first and keeps nothing, so what is forged costs three short digests.
    // `isOwnCaller` tells whether the caller is of this user, which takes longer; it is asked only of a request that
    // is good so far.
    std::optional<CompanionQuestion> admit(const HttpRequest& request, const std::function<bool()>& isOwnCaller);

private:
    bool isCurrent(std::string_view date) const;

    const Clock& clock_;
    // From the moment of its use a date can pass for at most twice the span: it may lie ahead.
    UsedIdentities used_{Seconds(2 * kMostApart)};
};

} // namespace vitrel
