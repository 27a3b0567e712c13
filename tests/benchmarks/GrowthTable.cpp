// Whether a change of a futures position costs the same with one client and with ten thousand, and with ever more in
// the book: time and instructions of a change in the engine, from the portfolio to the margins.
//   growth_table [--quick]     small counts only, to see that it runs
//
// 161 price points, five scenarios, netting within the base contract. With many clients each change is another
// client's, in an order drawn once: what grows then is the memory that the processor has to fetch. In one book it is
// one futures that changes.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchMarkets.h"
#include "CallTimes.h"
#include "EngineBook.h"
#include "InstructionCounter.h"
#include "TableMain.h"
#include "TextTable.h"

namespace {

using bench::Change;
using bench::Number;

constexpr std::int32_t RiskPointsN = 80; // 161 price points

void Check(Z9ERR code)
{
    if (code != 0) throw std::runtime_error("a change is refused with code " + std::to_string(code));
}

/// Books over one market; the change of a call is taken by one of them.
class Books
{
public:
    Books(const plain::Market& market, std::size_t clients) : m_repository(MakeRepository(market)), m_order(clients)
    {
        for (std::size_t i = 0; i < clients; ++i)
            m_books.push_back(std::make_unique<EngineBook>(*m_repository, plain::Rules{}));
        std::iota(m_order.begin(), m_order.end(), std::size_t{0});
        std::shuffle(m_order.begin(), m_order.end(), std::mt19937(1));
        for (std::size_t i = 0; i < clients; ++i)
            ChangeFutures(i);
    }

    void ChangeFutures(std::size_t call)
    {
        const Change& change = m_changes[(call + call / m_changes.size()) % m_changes.size()];
        Check(m_books[m_order[call % m_order.size()]]->portfolio.SetPosition(1, change.quantity, change.price, 0));
    }
    [[nodiscard]] kv7im::Portfolio& First() { return m_books.front()->portfolio; }
    [[nodiscard]] std::size_t Clients() const { return m_books.size(); }

private:
    std::unique_ptr<kv7im::InstrumentsRepository> m_repository;
    std::vector<std::unique_ptr<EngineBook>> m_books;
    std::vector<std::size_t> m_order;
    std::vector<Change> m_changes = bench::ChangesAround(1000.0);
};

Books WithClients(std::size_t count) { return {bench::FuturesMarket(RiskPointsN, ""), count}; }

Books WithFutures(std::size_t count)
{
    Books books(bench::WideMarket(RiskPointsN, count, 0), 1);
    for (std::size_t i = 0; i < count; ++i)
        Check(books.First().SetPosition(bench::FuturesOfWideMarket(i), 1, 1000.0, 0));
    return books;
}

/// All of them on the futures that changes, a hundred a series.
Books WithOptions(std::size_t count)
{
    Books books(bench::WideMarket(RiskPointsN, 1, count), 1);
    for (std::size_t i = 0; i < count; ++i)
        Check(books.First().SetPosition(bench::OptionOfWideMarket(i), 1, 60.0, 0));
    return books;
}

/// All of them in the futures that changes, each at a price of its own.
Books WithOrders(std::size_t count)
{
    Books books(bench::FuturesMarket(RiskPointsN, ""), 1);
    for (std::size_t i = 0; i < count; ++i) {
        SClearingDeltaOrder order;
        order.CalculatedPrice = {t_bprice_int(900.0 + 0.01 * static_cast<double>(i)), KeyPriceType::Direction::Buy,
                                 KeyPriceType::Type::Ordinal};
        order.isin = 1;
        order.isBuying = true;
        order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, 1, 1);
        Check(books.First().ChangeOrder(1, 1, &order));
    }
    return books;
}

struct Line
{
    bench::Percentiles times;
    std::optional<double> instructions;
};

Line Measure(Books books, const bench::CycleClock& clock, bool quick)
{
    const std::size_t calls = quick ? 100 : std::max<std::size_t>(50'000, 4 * books.Clients());
    const auto change = [&](std::size_t call) { books.ChangeFutures(call); };
    Line line{bench::PercentilesOf(clock, calls, change), {}};
    const std::size_t counts = quick ? 1 : 2;
    const auto counted = bench::InstructionsOf([&] {
        for (std::size_t call = 0; call < counts; ++call)
            change(call);
    });
    if (counted) line.instructions = *counted / static_cast<double>(counts);
    return line;
}

void PrintGrowth(const char* of, Books (*make)(std::size_t), const bench::CycleClock& clock, bool quick)
{
    bench::TextTable table(std::string("A futures change over the number of ") + of + ", nanoseconds",
                           {of, "p50", "p99", "p50 over the first", "instructions"});
    double first = 0.0;
    for (const std::size_t count : {1, 10, 100, 1'000, 10'000}) {
        if (quick && count > 10) break;
        const Line line = Measure(make(count), clock, quick);
        if (first == 0.0) first = line.times.p50;
        table.Add({Number(static_cast<double>(count)), Number(line.times.p50), Number(line.times.p99),
                   Number(line.times.p50 / first, 2), line.instructions ? Number(*line.instructions) : "-"});
    }
    table.Print();
}

void PrintTables(bool quick)
{
    const bench::CycleClock clock;
    PrintGrowth("clients", WithClients, clock, quick);
    PrintGrowth("futures in the book", WithFutures, clock, quick);
    PrintGrowth("options in the book", WithOptions, clock, quick);
    PrintGrowth("open orders in the book", WithOrders, clock, quick);
    std::printf("\nGoal over the clients: p50 grows by 4 at most. Instructions are counted over two changes; \"-\": "
                "the system "
                "lets nobody count them.\n");
}

} // namespace

int main(int argc, char** argv)
{
    return bench::Report("growth_table", [&] { PrintTables(argc > 1 && std::strcmp(argv[1], "--quick") == 0); });
}
