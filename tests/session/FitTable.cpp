// How long a question for the largest quantity takes: a client of one hundred positions in the example market, in the
// process, without start and loading.
//   fit_table MARKET [--quick]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "../benchmarks/TableMain.h"
#include "../benchmarks/TextTable.h"
#include "FitBook.h"
#include "PlayedSession.h"

namespace {

using namespace quindal;

constexpr std::size_t Positions = 100;

std::string ContentOf(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

/// A firm, and a client that holds something of every second instrument of the market.
void Fill(Rows<AccountRow>& accounts, Rows<PositionRow>& positions)
{
    for (const auto& [level, code] : {std::pair{AccountLevelFirm, "AA01"}, std::pair{AccountLevelClient, "AA01001"}}) {
        AccountRow& row = accounts.rows.emplace_back();
        row.level = level;
        row.code = code;
        row.marginRule = QUINDAL_MARGIN_RULE_HALF_NETTING;
    }
    std::int64_t number = 0;
    const MarketCodes codes = MarginSession::Codes();
    for (const auto& [code, kind] : codes.Kinds()) {
        if (kind != InstrumentKind::Futures && kind != InstrumentKind::Option) continue;
        if (++number % 2 != 0 || positions.rows.size() == Positions) continue;
        PositionRow& row = positions.rows.emplace_back();
        row.code = "AA01001";
        row.instrument = code;
        row.quantity = row.afterLastClearing = number * 37 % 101 - 50;
    }
}

struct Case
{
    const char* name;
    FitAs as;
    std::vector<FitItem> items;
};

std::vector<Case> Cases()
{
    const auto one = [](const char* instrument, bool isBuy, double price = 0.0) {
        return std::vector<FitItem>{{instrument, isBuy, 1, price}};
    };
    return {{"futures sold, an order", FitAs::Order, one("INDX-12.26", false)},
            {"futures sold", FitAs::Position, one("INDX-12.26", false)},
            {"call sold, an order", FitAs::Order, one("INDX-17DEC26-C3500", false)},
            {"call bought, an order", FitAs::Order, one("INDX-17DEC26-C3500", true)},
            {"call bought", FitAs::Position, one("INDX-17DEC26-C3500", true)},
            {"cheap call bought", FitAs::Position, one("INDX-26NOV26-C3450", true)},
            {"premium-style put bought", FitAs::Position, one("EURU-18MAR27-P1.06", true)},
            {"calendar spread, an order", FitAs::Order, one("INDX-12.26-3.27", true, 66.0)},
            {"collateral bought, an order", FitAs::Order, one("ALFA-SPOT", true)},
            {"three of a basket",
             FitAs::Position,
             {{"CRUD-12.26", true, 2, 0.0}, {"CRUD-3.27", false, 2, 0.0}, {"CRUD-17DEC26-C74", false, 1, 0.0}}}};
}

void Measure(const std::string& market, int times)
{
    test::PlayedSession session(ContentOf(market));
    Rows<AccountRow> accounts{"accounts"};
    Rows<PositionRow> positions{"positions"};
    Fill(accounts, positions);
    FitBook book(*session, accounts, positions);
    bench::TextTable table("The largest quantity that fits, of a client of " + std::to_string(positions.rows.size()) +
                               " positions, with 1,000,000 more GO",
                           {"", "quantity", "margins", "ms, best", "ms, median", "ms, worst"});
    for (const auto& [name, as, items] : Cases()) {
        FitQuestion question{"AA01001", items, as, FitLevel::Client, 1e6, true};
        FitAnswer answer;
        std::vector<double> milliseconds;
        for (int i = 0; i < times; ++i) {
            const auto start = std::chrono::steady_clock::now();
            answer = book.Largest(question);
            milliseconds.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        }
        std::sort(milliseconds.begin(), milliseconds.end());
        table.Add({name, answer.with ? bench::Number(static_cast<double>(answer.with->quantity)) : "none",
                   bench::Number(static_cast<double>(answer.evaluations)), bench::Number(milliseconds.front(), 2),
                   bench::Number(milliseconds[milliseconds.size() / 2], 2), bench::Number(milliseconds.back(), 2)});
    }
    table.Print();
}

} // namespace

int main(int argc, char** argv)
{
    return bench::Report("fit_table", [&] {
        if (argc < 2) throw std::runtime_error("name a market file");
        Measure(argv[1], argc > 2 && std::string_view(argv[2]) == "--quick" ? 2 : 51);
    });
}
