// One SetPosition of a client through the shared library, as a host calls it: single calls one by one, and calls a
// second. 161 price points, five scenarios, one thread; quantity and price change at every call. The firm lives by its
// own records, so that nothing goes up from the client.
//   export_table INI USER PASSWORD [--quick]     INI leads to a live server and opens no trace log
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchMarkets.h"
#include "CallTimes.h"
#include "ExportCalls.h"
#include "MarginMarket.h"
#include "QuindalIM.h"
#include "TableMain.h"
#include "TextTable.h"

namespace {

using bench::Change;
using bench::Number;

constexpr std::int32_t RiskPointsN = 80; // 161 price points
constexpr const char* Client = "AA01001";

void Check(std::int32_t code)
{
    if (code != 0) throw std::runtime_error(GetErrorCodeDescription(code));
}

struct Row
{
    std::string name;
    plain::Market market;
    plain::Rules rules;
    const char* instrument;
    double price;
    double goal; // p50 at most
};

Row FuturesAlone(double goal)
{
    return {"futures, level 0", bench::FuturesOutOfSpread(RiskPointsN), {}, "1", 1000.0, goal};
}

std::vector<Row> RowsWithoutTrace()
{
    plain::Rules netting;
    netting.interContract = Enums::SpreadMarginType::Netting;
    return {FuturesAlone(450.0),
            {"futures, MCS with window", bench::FuturesMarket(RiskPointsN, "GROUP"), netting, "1", 1000.0, 700.0},
            {"option in spread", bench::OptionMarket({.inSpread = true}, RiskPointsN), {}, "101", 60.0, 1000.0}};
}

std::vector<Row> RowsWithTrace() { return {FuturesAlone(1400.0)}; }

/// The library from its start to its end.
class Library
{
public:
    Library(const std::string& ini, const char* user, const char* password)
    {
        Check(InitQuindalIM(ini.c_str(), user, password));
        Check(CreateQuindalIMCalculator(&m_calc));
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library()
    {
        ClearAll(m_calc);
        DestroyQuindalIMCalculator(m_calc);
        DeInitQuindalIM();
    }

    [[nodiscard]] std::vector<std::string> Measure(const Row& row, const bench::CycleClock& clock,
                                                   const std::string& trace, bool quick)
    {
        Check(ClearAll(m_calc));
        quindal::test::InsertMarket(m_calc, row.market);
        Check(calls::Firm(m_calc, "AA01"));
        Check(quindal::test::RegisterClient(m_calc, Client, row.rules));
        const std::vector<Change> changes = bench::ChangesAround(row.price);
        calls::Margins margins;
        const auto call = [&](std::size_t i) {
            const Change& change = changes[i % changes.size()];
            Check(calls::Position(m_calc, Client, row.instrument, change.quantity, change.price, margins));
        };
        const auto [each] = bench::MediansInTurns(clock, quick ? 3 : 500, changes.size(), call);
        const bench::Percentiles single = bench::PercentilesOf(clock, quick ? 100 : 200'000, call);
        return {row.name,
                trace,
                Number(1e9 / each),
                Number(single.p50),
                Number(single.p99),
                Number(single.p9999),
                Number(single.worst),
                Number(row.goal)};
    }

private:
    std::intptr_t m_calc = 0;
};

/// A copy of the ini file that opens the trace log, beside it.
std::string WithTraceLog(const std::string& ini, const std::string& flush)
{
    std::string copy = ini + "." + flush;
    std::ofstream(copy) << std::ifstream(ini).rdbuf() << "[QuindalIM::xplog]\nfile = " << copy
                        << ".log\nflush = " << flush << "\n";
    return copy;
}

void PrintTable(const std::string& ini, const char* user, const char* password, bool quick)
{
    const bench::CycleClock clock;
    bench::TextTable table("One SetPosition through the shared library, nanoseconds",
                           {"Call", "trace log", "calls/s", "p50", "p99", "p99.99", "worst", "p50 goal"});
    {
        Library library(ini, user, password);
        for (const Row& row : RowsWithoutTrace())
            table.Add(library.Measure(row, clock, "closed", quick));
    }
    for (const std::string flush : {"line", "buffer"}) {
        Library library(WithTraceLog(ini, flush), user, password);
        for (const Row& row : RowsWithTrace())
            table.Add(library.Measure(row, clock, "open, a " + flush, quick));
    }
    table.Print();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: export_table INI USER PASSWORD [--quick]\n");
        return 2;
    }
    return bench::Report("export_table", [&] {
        PrintTable(argv[1], argv[2], argv[3], argc > 4 && std::strcmp(argv[4], "--quick") == 0);
    });
}
