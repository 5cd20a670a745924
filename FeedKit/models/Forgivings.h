#pragma once

#include "FeedKit/models/Leniency.h"

#include <array>

namespace FeedKit {

// Counts what a reading forgives. One thread at a time.
class Forgivings
{
public:
    explicit Forgivings(Leniency leniency)
        : leniency_(leniency)
    { }

    bool may(Forgivable what) const { return leniency_.has(what); }
    // One more of a fault that may be forgiven; `say` gives the words, and is asked at the first alone.
    template <class Say> void add(Forgivable what, Say&& say)
    {
        auto& forgiven = found_[static_cast<std::size_t>(what)];
        if (forgiven.count++ == 0)
            forgiven.first = say();
    }
    bool empty() const;
    std::vector<Forgiven> list() const;
    // Takes over what another one has counted; of a fault that both have the first words stay.
    void take(const Forgivings& other);

private:
    Leniency leniency_;
    std::array<Forgiven, kForgivables> found_{};
};

} // namespace FeedKit
