// Market: a calculator with stores of its own, and what must hold in it after any download.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CalcGOEx.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "Require.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

class Market
{
public:
    [[nodiscard]] QuindalIM::CCalcGOEx& Calculator() noexcept { return m_calculator; }

    /// Rows of text in the table of futures.
    [[nodiscard]] std::int32_t FuturesRows()
    {
        std::int32_t rows = 0;
        m_calculator.GetTablesData().SetOnFirstFutures();
        for (std::string row; m_calculator.GetTablesData().GetNextFutures(row, false);)
            ++rows;
        return rows;
    }

    void RequireConsistency()
    {
        RequireFuturesConsistency();
        RequireOptionsConsistency();
        RequireMultilegsConsistency();
    }

private:
    void RequireFuturesConsistency()
    {
        std::int32_t rows = 0;
        m_calculator.GetTablesData().SetOnFirstBaseContract();
        for (std::string row; m_calculator.GetTablesData().GetNextBaseContract(row, false);)
            ++rows;
        Require(rows == m_calculator.SetOnFirstBaseContract(), "each base contract that is in has its row of text");

        Require(FuturesRows() == m_calculator.SetOnFirstFutures(), "each futures that is in has its row of text");
        while (const kv7im::CSpecFutures* futures = m_calculator.GetNextFutures()) {
            std::string code;
            Require(m_calculator.GetCodeByIsin(futures->isin, code) == Z9ERR_OK, "each futures has a code");
            int isin = 0;
            double price = 0.0;
            const Z9ERR found = m_calculator.GetIsinAndCalcPriceByCode(code.c_str(), isin, price);
            Require(found == Z9ERR_OK && isin == futures->isin, "the code of a futures leads back to it");
        }
    }

    void RequireOptionsConsistency()
    {
        std::int32_t rows = 0;
        m_calculator.GetTablesData().SetOnFirstOptionSeries();
        for (std::string row; m_calculator.GetTablesData().GetNextOptionSeries(row, false);)
            ++rows;
        std::int32_t refused = m_calculator.SetOnFirstOptionSeries() - rows;
        Require(refused == 0 || refused == 1, "a refused series ends the download and stays in the list");
        const kv7im::CSpecVirtFutures* series = nullptr;
        for (Z9ERR code = Z9ERR_OK; code != Z9ERR_QUINDAL_IM_END_OF_DATA;) {
            code = m_calculator.GetNextOptionSeries(series);
            if (code == Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND) --refused;
        }
        Require(refused == 0, "every other series of the list is in");

        rows = 0;
        m_calculator.GetTablesData().SetOnFirstOption();
        for (std::string row; m_calculator.GetTablesData().GetNextOption(row, false);)
            ++rows;
        Require(rows == m_calculator.SetOnFirstOption(), "each option that is in has its row of text");
        const kv7im::CSpecOption* option = nullptr;
        while (m_calculator.GetNextOption(option) == Z9ERR_OK) {
            const kv7im::OptionGrid& grid = option->GetGrid(Enums::ClientRiskLevel::Default);
            const auto columns =
                static_cast<std::size_t>(option->VirtFutures->GetTotalPointsNum(Enums::ClientRiskLevel::Default));
            Require(grid.ColsCount() == columns, "an option is valued over the columns of its series");
        }
    }

    void RequireMultilegsConsistency()
    {
        std::int32_t rows = 0;
        m_calculator.GetTablesData().SetOnFirstMultileg();
        for (std::string row; m_calculator.GetTablesData().GetNextMultileg(row, false);)
            ++rows;
        const std::int32_t count = m_calculator.SetOnFirstMultileg();
        Require(rows == count, "each multileg that is in has its row of text");
        Require(m_instruments.CountMultilegs() == static_cast<std::size_t>(count),
                "no record waits for its second leg");
        for (const kv7im::CSpecMultileg& multileg : m_instruments.RangeMultilegByIsin()) {
            Require(multileg.GetCompleted(), "a multileg of a download is completed");
            Require(multileg.legOrderNum1 <= multileg.legOrderNum2, "the leg with the lower number is the first");
            const kv7im::CSpecFutures* const first = m_instruments.GetFutures(multileg.GetFirstLegIsin());
            const kv7im::CSpecFutures* const second = m_instruments.GetFutures(multileg.GetSecondLegIsin());
            Require(first != nullptr && second != nullptr, "both legs of a multileg are futures");
            Require(multileg.IsIncompleteSpreadAspect() != (first->IsInSpread && second->IsInSpread),
                    "a multileg is complete when both its legs are in spread");
            std::string code;
            Require(m_calculator.GetCodeByIsin(multileg.GetMultilegIsin(), code) == Z9ERR_OK, "a multileg has a code");
        }
    }

    pos::PositionCalculatorInstruments m_accounting;
    kv7im::InstrumentsRepository m_instruments;
    ParticipantRepository m_participants;
    QuindalIM::CCalcGOEx m_calculator{m_participants, m_instruments, m_accounting};
};
