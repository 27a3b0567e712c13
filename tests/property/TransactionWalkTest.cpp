// Days of random changes over random markets: what is committed is what a repository filled with the changed parameters
// has, and until then nobody sees anything of it.
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "EngineBook.h"
#include "RandomChanges.h"
#include "RandomMarket.h"
#include "SameModel.h"

namespace test::TransactionWalkTest {
namespace {

using enum kv7im::AccessByStatus;
using same_model::Differences;
using same_model::InstrumentDifferences;
using same_model::ProfileDifferences;
using same_model::TextOf;

RC_GTEST_PROP(TransactionWalk, CommitsWhatAFreshRepositoryWouldHave, ())
{
    plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    for (int day = 0; day < 2; ++day) {
        const auto before = MakeRepository(market);
        random_changes::AskSome(*repository, eCurrent);
        random_changes::Day(*repository, market).ChangeSome();
        random_changes::AskSome(*repository, random_market::OnceIn(2) ? eNew : eCurrent);
        RC_ASSERT(repository->UpdateComplete() == 0);
        random_changes::AskSome(*repository, eNew);

        const auto fresh = MakeRepository(market);
        const auto current = InstrumentDifferences({*repository, eCurrent}, {*before});
        if (!current.empty()) RC_FAIL("current: " + TextOf(current));
        const auto changed = InstrumentDifferences({*repository, eNew}, {*fresh});
        if (!changed.empty()) RC_FAIL("new: " + TextOf(changed));
        repository->ReleaseChanged();
        const auto committed = Differences(*repository, *fresh);
        if (!committed.empty()) RC_FAIL("committed: " + TextOf(committed));
    }
}

// Options that come at any time of a transaction have the values of the view that they come to.
RC_GTEST_PROP(TransactionWalk, TakesNewOptionsAlong, ())
{
    plain::Market market = random_market::Make();
    std::vector<OptionSample> held = std::exchange(market.options, {});
    const auto repository = MakeRepository(market);
    const auto insertSome = [&] {
        while (!held.empty() && !random_market::OnceIn(3)) {
            RC_ASSERT(held.back().InsertInto(*repository) == 0);
            market.options.push_back(held.back());
            held.pop_back();
        }
    };
    insertSome();
    random_changes::Day(*repository, market).ChangeSome();
    insertSome();
    random_changes::AskSome(*repository, eCurrent);
    RC_ASSERT(repository->UpdateComplete() == 0);
    for (int times = 0; times < 2; ++times) {
        insertSome();
        random_changes::AskSome(*repository, eCurrent);
        repository->AdoptNewcomers();
        const auto changed = InstrumentDifferences({*repository, eNew}, {*MakeRepository(market)});
        if (!changed.empty()) RC_FAIL("new: " + TextOf(changed));
    }
    insertSome();
    repository->ReleaseChanged();
    const auto committed = Differences(*repository, *MakeRepository(market));
    if (!committed.empty()) RC_FAIL("committed: " + TextOf(committed));
}

// What is released without having been recomputed has the new parameters and the profiles of the last recomputation,
// whether anybody had asked for them or not.
RC_GTEST_PROP(TransactionWalk, PublishesThePresentProfilesUnlessTheyAreRecomputed, ())
{
    plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    auto recomputed = MakeRepository(market);
    random_changes::AskSome(*repository, eCurrent);
    if (random_market::OnceIn(2)) {
        random_changes::Day(*repository, market).ChangeSome();
        RC_ASSERT(repository->UpdateComplete() == 0);
        recomputed = MakeRepository(market);
        random_changes::AskSome(*repository, eNew);
    }
    random_changes::Day(*repository, market).ChangeSome();
    random_changes::AskSome(*repository, eNew);
    const auto changed = ProfileDifferences({*repository, eNew}, {*recomputed});
    if (!changed.empty()) RC_FAIL("new: " + TextOf(changed));
    repository->ReleaseChanged();
    const auto released = ProfileDifferences({*repository}, {*recomputed});
    if (!released.empty()) RC_FAIL("released: " + TextOf(released));

    // The next day makes up for it.
    RC_ASSERT(market_changes::UpdateAll(*repository, market) == 0);
    RC_ASSERT(repository->UpdateComplete() == 0);
    repository->ReleaseChanged();
    const auto committed = Differences(*repository, *MakeRepository(market));
    if (!committed.empty()) RC_FAIL("committed: " + TextOf(committed));
}

} // namespace
} // namespace test::TransactionWalkTest
