// OptionTree: the account tree over a market with options.
#pragma once

#include <string>

#include "AccountTree.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

inline constexpr Isin SpreadFutures = 2;  // in spread
inline constexpr Isin Call825 = 11;       // of the deliverable series DEL on FUT, standing alone
inline constexpr Isin Call850 = 12;       // of the series NET in spread with SpreadFutures
inline constexpr Isin PremiumPut850 = 13; // of the premium-style series EQ in spread with SpreadFutures

/// The account tree over FUT, which stands alone with a deliverable series, and over a futures in spread with two
/// series of which one is premium-style.
struct OptionTree : AccountTree
{
    OptionTree()
    {
        FuturesSample futures = HandFutures("FUT2", SpreadFutures);
        futures.SpreadAspect = Enums::SpreadAspect::InSpread;
        Check(futures.InsertInto(instruments));
        kv7im::OptionSeriesParameters premium = InSpread(HandSeries("EQ", "FUT2"));
        premium.marginStyle = Enums::MarginStyle::Equity;
        for (const auto& series : {Deliverable(HandSeries("DEL")), InSpread(HandSeries("NET", "FUT2")), premium})
            Check(instruments.InsertVirtFutures(series));
        AddOption("DEL", Call825, Enums::OptionType::Call, 825.0);
        AddOption("NET", Call850, Enums::OptionType::Call, 850.0);
        AddOption("EQ", PremiumPut850, Enums::OptionType::Put, 850.0);
    }

    void AddOption(const std::string& series, Isin isin, Enums::OptionType type, double strike)
    {
        Check(HandOption(series, isin, type, strike).InsertInto(instruments));
    }

    /// A premium-style call at 750, settled at 55, alone in the series FXO on FXF (isin 3), whose contract is of a
    /// currency with the radius 0.05.
    void AddPremiumCallInCurrency(Isin isin)
    {
        Check(instruments.InsertCurrency(1, 0.05));
        BaseContractSample contract = HandBaseContract("FX");
        contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
        contract.CurrencyId = 1;
        Check(contract.InsertInto(instruments));
        Check(HandFutures("FXF", 3, "FX").InsertInto(instruments));
        kv7im::OptionSeriesParameters series = HandSeries("FXO", "FXF");
        series.marginStyle = Enums::MarginStyle::Equity;
        Check(instruments.InsertVirtFutures(series));
        Check(HandOption("FXO", isin, Enums::OptionType::Call, 750.0, 55.0).InsertInto(instruments));
    }

    /// The series of an option, to be given clearings of its own.
    kv7im::CSpecVirtFutures& SeriesOf(Isin option) { return *Option(option).VirtFutures; }
    const kv7im::CSpecOption& Option(Isin option) const
    {
        return *instruments.GetOption(kv7im::AccessByStatus::eCurrent, option);
    }
};
