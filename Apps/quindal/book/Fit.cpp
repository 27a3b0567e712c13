#include "Fit.h"

#include <algorithm>
#include <cmath>

namespace quindal {

namespace {

/// How many quantities below one whose figure is over by `excess` may be passed over, that one included.
std::int64_t Passed(double excess, double fall, std::int64_t most)
{
    const double contracts = std::ceil(excess / fall);
    if (!(contracts > 1.0)) return 1; // infinite falls and figures that are no number, too
    return contracts < static_cast<double>(most) ? static_cast<std::int64_t>(contracts) : most + 1;
}

/// The quantity to be looked at behind `quantity`, of which `passed` are passed over; a jump is looked at itself.
std::int64_t Below(std::int64_t quantity, std::int64_t passed, const std::vector<std::int64_t>& jumps)
{
    std::int64_t next = quantity - passed;
    for (const std::int64_t jump : jumps) {
        if (jump == quantity) return quantity - 1;
        if (jump < quantity) next = std::max(next, jump);
    }
    return next;
}

} // namespace

FitFound LargestThatFits(const FitSearch& search)
{
    FitFound found;
    for (std::int64_t quantity = search.most; quantity >= 0;) {
        const double excess = search.figure(quantity) - search.limit - search.tolerance;
        ++found.evaluations;
        if (!(excess > 0.0)) {
            ++found.evaluations;
            if (search.fits(quantity)) {
                found.quantity = quantity;
                break;
            }
        }
        quantity = Below(quantity, Passed(excess, search.fall, search.most), search.jumps);
    }
    return found;
}

} // namespace quindal
