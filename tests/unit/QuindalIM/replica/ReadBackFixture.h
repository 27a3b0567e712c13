// ReadBackFixture: an account tree over a market of samples, and its risks read back as a caller does it: a sizing call
// without an array, then a copying call into an array with guards behind it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "CalcGOEx.h"
#include "EngineBook.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "TradingCodes.h"

namespace read_back {

using Info = QuindalIM::_ExtraRisksInfo;
using QuindalIM::eChooseRiskType;
using enum QuindalIM::eChooseRiskType;

/// The eight points in the order of the structure.
[[nodiscard]] inline std::vector<double> PointsOf(const Info& info)
{
    return {info.DownRisk, info.ZL, info.PnL3D, info.PnL2D, info.PnL2U, info.PnL3U, info.ZR, info.UpRisk};
}
[[nodiscard]] inline std::vector<double> PointsOf(const kv7im::SpecialRiskPoints& points)
{
    return {points.pData(), points.pData() + points.size()};
}

/// What a call gives.
struct Reading
{
    std::int32_t code = 0;
    std::size_t points = 0;
    std::size_t scenarios = 0;
    std::vector<double> cells = {};
    Info info = {};

    [[nodiscard]] std::vector<double> Row(std::size_t scenario) const
    {
        const auto from = cells.begin() + static_cast<std::ptrdiff_t>(scenario * points);
        return {from, from + static_cast<std::ptrdiff_t>(points)};
    }
};

/// An operation with everything given but the places of its results.
using Operation = std::function<std::int32_t(double* arr, std::size_t& points, std::size_t& scenarios, Info& info)>;

inline constexpr double Guard = -7777.25;

/// Both calls. Only the first where it gives nothing to copy.
[[nodiscard]] inline Reading Read(const Operation& operation)
{
    Reading sized;
    sized.code = operation(nullptr, sized.points, sized.scenarios, sized.info);
    if (sized.code != 0 || sized.points * sized.scenarios == 0) return sized;

    Reading read{0, sized.points, sized.scenarios, std::vector<double>(sized.points * sized.scenarios + 4, Guard)};
    read.code = operation(read.cells.data(), read.points, read.scenarios, read.info);
    EXPECT_EQ(read.code, 0);
    EXPECT_EQ(std::pair(read.points, read.scenarios), std::pair(sized.points, sized.scenarios));
    EXPECT_EQ(PointsOf(read.info), PointsOf(sized.info));
    EXPECT_TRUE(std::all_of(read.cells.end() - 4, read.cells.end(), [](double cell) { return cell == Guard; }));
    read.cells.resize(read.points * read.scenarios);
    return read;
}

/// Participants over a repository; the first firm's account and firm are registered before its clients.
class Tree
{
public:
    explicit Tree(std::unique_ptr<kv7im::InstrumentsRepository> repository) : instruments(std::move(repository)) {}

    void AddAccount(const char* id, Enums::MarginRule rule)
    {
        ExpectDone(calculator.RegisterSettlementAccount(id, rule, Enums::SpreadMarginType::Netting,
                                                        Enums::SpreadMarginType::Netting, 1.0));
    }
    void AddFirm(const char* code, const char* account, Enums::MarginRule rule, double expWeight = 1.0)
    {
        ExpectDone(calculator.RegisterBroker(code, 0, expWeight, 1.0, Enums::BrokerAccountType::Ordinary, account,
                                             Enums::SpreadMarginType::Netting, rule, Enums::SpreadMarginType::Netting,
                                             1.0));
    }
    void AddClient(const char* code, const plain::Rules& rules = {}, double expWeight = 0.5, double goRatio = 1.0)
    {
        ExpectDone(calculator.RegisterClient(code, rules.noFutDiscount, rules.clearings, expWeight, rules.calendar,
                                             rules.interContract, goRatio, rules.shortChargeRatio, rules.level));
    }

    /// What a position of a client, a firm or an account gives.
    struct Margins
    {
        double volatility = 0.0, delivery = 0.0, part = 0.0, firm = 0.0, account = 0.0;
    };
    Margins Set(const char* code, Isin isin, const plain::Holding& holding,
                Enums::AccountHierarchyRecordType level = Enums::AccountHierarchyRecordType::Client)
    {
        Margins margins;
        ExpectDone(calculator.SetPositionEx(code, isin, holding.quantity, holding.price, margins.volatility,
                                            margins.delivery, margins.part, margins.firm, margins.account, level,
                                            holding.afterLastClearing));
        return margins;
    }

    [[nodiscard]] BraskClient& Client(const char* code)
    {
        return participants.GetClient(CodeParser<ClientCode>(code).Parse());
    }
    [[nodiscard]] BraskBroker& Firm(const char* code)
    {
        return *participants.SearchBroker(CodeParser<BrokerCode>(code).Parse());
    }
    [[nodiscard]] BraskSettlementAccount& Account(const char* id)
    {
        return *participants.SearchSettlementAccountById(id);
    }

    [[nodiscard]] Reading OfClient(eChooseRiskType type, const std::string& instrument, const char* code) const
    {
        return Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            return calculator.GetClientFutRisksArray(type, instrument.c_str(), code, arr, points, scenarios, info);
        });
    }
    [[nodiscard]] Reading OfFirm(eChooseRiskType type, const std::string& instrument, const char* code) const
    {
        return Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            return calculator.GetBrokerRisksArray(type, instrument.c_str(), code, arr, points, scenarios, info);
        });
    }
    [[nodiscard]] Reading OfAccount(eChooseRiskType type, const std::string& instrument, const char* id) const
    {
        return Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            return calculator.GetSettlementAccountRisksArray(type, instrument.c_str(), id, arr, points, scenarios,
                                                             info);
        });
    }

private:
    static void ExpectDone(Z9ERR code) { EXPECT_EQ(code, Z9ERR_OK); }

    pos::PositionCalculatorInstruments accounting;
    std::unique_ptr<kv7im::InstrumentsRepository> instruments;

public:
    ParticipantRepository participants;
    QuindalIM::CCalcGOEx calculator{participants, *instruments, accounting};
    [[nodiscard]] kv7im::InstrumentsRepository& Instruments() { return *instruments; }
};

} // namespace read_back
