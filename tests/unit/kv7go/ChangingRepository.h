// ChangingRepository: a repository with its log and its alerts, for tests of changes during the day.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "MarketChanges.h"
#include "instruments/InstrumentsRepository.h"
#include "kv7errors.h"

class ChangingRepository : public testing::Test
{
protected:
    ChangingRepository()
    {
        m_repository.SetTelemetryAlertsCollector(std::make_shared<kv7im::TelemetryAlertsCollector>(
            [this](const std::string& name, int count) { m_alerts.push_back(name + " " + std::to_string(count)); }));
    }
    /// BC, FUT, SER and OPT, the samples as they stand.
    void InsertFamily()
    {
        ASSERT_EQ(m_contract.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(m_futures.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(m_series.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(m_option.InsertInto(m_repository), Z9ERR_OK);
        static_cast<void>(m_log.Take());
        m_alerts.clear();
    }

    [[nodiscard]] std::vector<std::string> TakeAlerts() { return std::exchange(m_alerts, {}); }
    [[nodiscard]] const kv7im::CSpecBaseContract& BC(kv7im::AccessByStatus access, std::string_view code = "BC") const
    {
        return *m_repository.GetBaseContract(access, code);
    }
    [[nodiscard]] const kv7im::CSpecFutures& Futures(kv7im::AccessByStatus access, Isin isin = 1) const
    {
        return *m_repository.GetFutures(access, isin);
    }
    [[nodiscard]] const kv7im::CSpecVirtFutures& Series(kv7im::AccessByStatus access,
                                                        std::string_view code = "SER") const
    {
        return *m_repository.GetVirtualFutures(access, code);
    }
    [[nodiscard]] const kv7im::CSpecOption& Option(kv7im::AccessByStatus access, Isin isin = 101) const
    {
        return *m_repository.GetOption(access, isin);
    }
    [[nodiscard]] std::size_t CountOpenFutures() const
    {
        return boost::size(m_repository.RangeFuturesByStatus(kv7im::Status::WasChanged));
    }
    [[nodiscard]] std::size_t CountOpenContracts() const
    {
        return boost::size(m_repository.RangeBaseContractByStatus(kv7im::Status::WasChanged));
    }
    void Commit()
    {
        ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
        m_repository.ReleaseChanged();
    }

    LogCapture m_log;
    kv7im::InstrumentsRepository m_repository;
    std::vector<std::string> m_alerts;
    BaseContractSample m_contract;
    FuturesSample m_futures;
    OptionSeriesSample m_series;
    OptionSample m_option;
};
