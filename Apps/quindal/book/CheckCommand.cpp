#include "CheckCommand.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <optional>

#include "BookCheck.h"
#include "BookRun.h"
#include "Errors.h"
#include "MarketCheck.h"
#include "Printable.h"
#include "Provenance.h"
#include "WhatIf.h"

namespace quindal {

namespace {

std::string Counted(std::size_t count, const std::string& one, const std::string& many)
{
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

template <class Row, class Read>
std::optional<Rows<Row>> ReadIfGiven(const std::string& path, Problems& problems, const Read& read)
{
    if (path.empty()) return std::nullopt;
    return read(ReadInput(path), problems);
}

/// The files that were named.
struct Files
{
    Files(const CheckOptions& options, Problems& problems)
        : accounts(ReadIfGiven<AccountRow>(options.accounts, problems, ReadAccounts)),
          positions(ReadIfGiven<PositionRow>(options.positions, problems, ReadPositions)),
          orders(ReadIfGiven<OrderRow>(options.orders, problems, ReadOrders)),
          users(ReadIfGiven<UserRow>(options.users, problems, [](const InputFile& file, Problems& found) {
              return ReadUsers(file, false, found);
          }))
    {}

    std::optional<Rows<AccountRow>> accounts;
    std::optional<Rows<PositionRow>> positions;
    std::optional<Rows<OrderRow>> orders;
    std::optional<Rows<UserRow>> users;
};

void CheckAmongEachOther(const Files& files, Problems& problems)
{
    if (files.accounts) CheckAccounts(*files.accounts, problems);
    if (files.positions) CheckRepeated(*files.positions, problems);
    if (files.accounts && files.positions) CheckHolders(*files.accounts, *files.positions, problems);
    if (files.accounts && files.orders) CheckClients(*files.accounts, *files.orders, problems);
}

void CheckAgainst(const MarketCodes& codes, const Files& files, Problems& problems)
{
    if (files.accounts) CheckInstruments(codes, *files.accounts, problems);
    if (files.positions) CheckInstruments(codes, *files.positions, problems);
    if (files.orders) CheckInstruments(codes, *files.orders, problems);
}

void Say(const std::string& file, const std::string& what) { std::cout << Printable(file) << ": " << what << '\n'; }

std::string ContentsOf(const Rows<AccountRow>& accounts)
{
    const auto count = [&](AccountLevel level) {
        return static_cast<std::size_t>(std::count_if(accounts.rows.begin(), accounts.rows.end(),
                                                      [&](const AccountRow& row) { return row.level == level; }));
    };
    return Counted(count(AccountLevelSettlementAccount), "account", "accounts") + ", " +
           Counted(count(AccountLevelFirm), "firm", "firms") + ", " +
           Counted(count(AccountLevelClient), "client", "clients") + ", " +
           Counted(count(AccountLevelRatio), "ratio", "ratios");
}

std::string ContentsOf(const MarketContents& market)
{
    return Counted(market.baseContracts, "base contract", "base contracts") + ", " +
           Counted(market.futures, "futures", "futures") + ", " +
           Counted(market.optionSeries, "option series", "option series") + ", " +
           Counted(market.options, "option", "options") + ", " +
           Counted(market.calendarSpreads, "calendar spread", "calendar spreads");
}

void SayContents(const Files& files)
{
    if (files.accounts) Say(files.accounts->file, ContentsOf(*files.accounts));
    if (files.positions) Say(files.positions->file, Counted(files.positions->rows.size(), "position", "positions"));
    if (files.orders)
        Say(files.orders->file, Counted(WhatIfsOf(*files.orders).size(), "what-if", "what-ifs") + ", " +
                                    Counted(files.orders->rows.size(), "order", "orders"));
    if (files.users) Say(files.users->file, Counted(files.users->rows.size(), "user", "users"));
}

} // namespace

int RunCheck(const CheckOptions& options)
{
    Problems problems;
    Warnings warnings;
    const Files files(options, problems);
    CheckAmongEachOther(files, problems);
    std::optional<MarketContents> market;
    MarketSource source;
    if (!options.instruments.empty()) {
        const InputFile file = ReadInput(options.instruments);
        source = SourceOf(file);
        RunLog log;
        market = CheckMarket(file, log, problems, warnings);
        if (market->isWhole) CheckAgainst(market->codes, files, problems);
    }
    if (problems.IsEmpty() && files.accounts && files.positions) {
        WarnOfUnreachedFirms(*files.accounts, *files.positions, warnings);
        WarnOf(LevelsWithoutRecords(*files.accounts, *files.positions), files.positions->file, warnings);
    }
    warnings.Tell();
    problems.ThrowIfAny();
    if (options.isStrict && warnings.Count() > 0) throw InputError("--strict makes each warning an error");
    if (market && options.showsProvenance) WriteProvenance(std::cout, source);
    if (market) Say(source.name, ContentsOf(*market));
    SayContents(files);
    return StatusGood;
}

} // namespace quindal
