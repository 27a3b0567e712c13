// Short forms of money for tests: amounts by their plain counts, and the part of a money block that follows from them.
#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include "Means.h"
#include "currencytype.h"

[[nodiscard]] constexpr t_bround_int Cents(std::int64_t cents) noexcept { return t_bround_int::FromPlain(cents); }
/// A sum of money in units of 0.00001.
[[nodiscard]] constexpr t_bsum_int Sum(std::int64_t plain) noexcept { return t_bsum_int::FromPlain(plain); }

/// What follows from the inputs of a money block, in cents.
struct ExpectedMoney
{
    std::int64_t reserve = 0;
    std::int64_t blockedNonIM = 0;
    std::int64_t free = 0;
    std::int64_t forWithdrawal = 0;
};

inline void ExpectMoney(const Domain::Means& means, const ExpectedMoney& expected)
{
    EXPECT_EQ(means.VMReserve.AsPlain(), expected.reserve);
    EXPECT_EQ(means.BlockedMoneyNonIM.AsPlain(), expected.blockedNonIM);
    EXPECT_EQ(means.FreeMoney.AsPlain(), expected.free);
    EXPECT_EQ(means.MoneyAllowedForWithdrawal.AsPlain(), expected.forWithdrawal);
}
