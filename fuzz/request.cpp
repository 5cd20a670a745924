// What comes in on the companion's port: the reader of heads, then the decision.
#include "companion/token/Token.h"
#include "programs/muralis/http/Admission.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace vitrel;

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

// 2026-11-16 21:54:29 UTC, the date of the seeds.
ManualClock clockOfTheSeeds()
{
    ManualClock clock;
    clock.start = Date{1794866069};
    return clock;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ManualClock clock = clockOfTheSeeds();
    Admission admission(clock);
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (;;) {
        const auto read = readHttpRequest(rest);
        if (!read) {
            check(read.error() == NoHttpHead::Broken || rest.size() < kMostHttpHead);
            return 0;
        }
        const auto& [request, length] = *read;
        check(length <= rest.size() && length <= kMostHttpHead
            && rest.substr(0, length).substr(length - 4) == "\r\n\r\n");
        // Not a byte less would have done, nor is a byte more looked at.
        const auto less = readHttpRequest(rest.substr(0, length - 1)), same = readHttpRequest(rest.substr(0, length));
        check(!less && less.error() == NoHttpHead::Yet);
        check(same && same->length == length);

        // The fuzzer can't sign, so what it made of a target is signed here, too, where that can be done.
        const auto target = makeCompanionTarget(request.target);
        if (target && makeIdentity(target->id)) {
            HttpRequest right = request;
            const std::string head(
                target->question == CompanionQuestion::Data ? kCompanionDataTarget : kCompanionStateTarget);
            right.target = head + escapedCompanionQuery(target->id, target->date);
            const auto date = companionDate(target->date);
            const bool isGood = date && std::abs(date->secondsSince1970 - 1794866069) <= Admission::kMostApart
                && request.method == "GET" && !request.isFromPage && isLoopbackHost(request.host);
            Admission fresh(clock);
            check(fresh.admit(right, [] { return true; }).has_value() == isGood);
            check(!fresh.admit(right, [] { return true; }));
        }
        const bool isIn = admission.admit(request, [] { return true; }).has_value();
        check(!isIn || (target && companionSignature(target->id) == target->signature));
        check(!isIn || !admission.admit(request, [] { return true; }));
        rest.remove_prefix(length);
    }
}
