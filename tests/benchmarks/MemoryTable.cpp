// What a book takes: memory and time of a position, in the engine and by the command line.
//   memory_table [--quick | --big] [QUINDAL]
//     --quick    a hundredth of everything, to see that it runs
//     --big      besides, 100,000 clients with one million futures positions
//     QUINDAL    the command line, which margins the books that are drawn here from files
//
// 161 price points, five scenarios. Ten positions a client, drawn over 300 futures, or half of them over 40,000 options
// of these futures: books of this kind are the widest, since hardly two positions share a node. The values of options
// are worked out before the books are filled, so that they stand in neither figure of the engine. Every book is filled
// in a process of its own.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "BenchMarkets.h"
#include "EngineBook.h"
#include "MarginMarket.h"
#include "ResidentBytes.h"
#include "TableMain.h"
#include "TextTable.h"

namespace {

using bench::Number;
using bench::ResidentBytes;

constexpr std::int32_t RiskPointsN = 80; // 161 price points
constexpr std::size_t PositionsAClient = 10;

struct BookSize
{
    std::string name;
    std::size_t clients;
    std::size_t futures;
    std::size_t options; // 0: futures only

    [[nodiscard]] plain::Market Market() const { return bench::WideMarket(RiskPointsN, futures, options); }
    [[nodiscard]] double Positions() const { return static_cast<double>(clients * PositionsAClient); }
};

struct Position
{
    bool isOption;
    std::size_t number; // of the futures or the option in its market
    std::int64_t quantity;
};

/// A client's positions, each in another instrument.
std::vector<Position> PositionsOf(std::size_t client, const BookSize& size)
{
    std::mt19937 random(static_cast<unsigned>(client));
    const std::size_t firstFutures = random();
    const std::size_t firstOption = random();
    std::vector<Position> positions;
    for (std::size_t i = 0; i < PositionsAClient; ++i) {
        const bool isOption = size.options != 0 && i % 2 != 0;
        const std::size_t number =
            isOption ? (firstOption + i * size.options / 11) % size.options : (firstFutures + i * 29) % size.futures;
        positions.push_back({isOption, number, static_cast<std::int64_t>(random() % 41) - 20});
    }
    return positions;
}

/// Bytes that are taken from the heap.
double HeapBytes()
{
    const auto heap = ::mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd);
}

struct Taken
{
    double seconds = 0.0;
    double residentBytes = 0.0;
    double heapBytes = 0.0;
};

template <class Body>
double SecondsOf(const Body& body)
{
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Taken FillBooks(const BookSize& size)
{
    const auto repository = MakeRepository(size.Market());
    for (std::size_t i = 0; i < size.options; ++i)
        static_cast<void>(repository->GetOption(kv7im::AccessByStatus::eCurrent, bench::OptionOfWideMarket(i))
                              ->GetGrid(Enums::ClientRiskLevel::Default));
    std::vector<std::unique_ptr<EngineBook>> books;
    books.reserve(size.clients);

    Taken taken{0.0, -ResidentBytes(), -HeapBytes()};
    taken.seconds = SecondsOf([&] {
        for (std::size_t client = 0; client < size.clients; ++client) {
            books.push_back(std::make_unique<EngineBook>(*repository, plain::Rules{}));
            for (const Position& held : PositionsOf(client, size)) {
                const Isin isin =
                    held.isOption ? bench::OptionOfWideMarket(held.number) : bench::FuturesOfWideMarket(held.number);
                if (books.back()->portfolio.SetPosition(isin, held.quantity, held.isOption ? 60.0 : 1000.0, 0) != 0)
                    throw std::runtime_error("a position is refused");
            }
        }
    });
    taken.residentBytes += ResidentBytes();
    taken.heapBytes += HeapBytes();
    return taken;
}

/// Fills books in a process of its own.
Taken FillBooksApart(const BookSize& size)
{
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(bench::Report("memory_table", [&] {
            const Taken taken = FillBooks(size);
            if (::write(ends[1], &taken, sizeof taken) != sizeof taken) throw std::runtime_error("a figure is lost");
        }));
    }
    ::close(ends[1]);
    Taken taken;
    const bool whole = ::read(ends[0], &taken, sizeof taken) == sizeof taken;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!whole) throw std::runtime_error(size.name + ": the books could not be filled");
    return taken;
}

void PrintEngine(const std::vector<BookSize>& sizes)
{
    bench::TextTable table("Books in the engine", {"Book", "clients", "positions", "resident KB a position",
                                                   "heap KB a position", "us a position", "resident MB"});
    for (const BookSize& size : sizes) {
        const Taken taken = FillBooksApart(size);
        table.Add({size.name, Number(static_cast<double>(size.clients)), Number(size.Positions()),
                   Number(taken.residentBytes / size.Positions() / 1e3, 1),
                   Number(taken.heapBytes / size.Positions() / 1e3, 1),
                   Number(taken.seconds / size.Positions() * 1e6, 1), Number(taken.residentBytes / 1e6)});
    }
    table.Print();
    std::printf(
        "\nGoals: 10 KB a futures position, 18 KB a position of a mixed book beside the values of the options.\n");
}

// Books by the command line: files are written, and the whole run is looked at.

/// The code of its firm, a thousand clients a firm, and its number there.
std::string ClientCode(std::size_t client)
{
    const std::string number = std::to_string(1'000'000 + client);
    return "A" + number.substr(1, 3) + number.substr(4);
}

void WriteFiles(const BookSize& size, const std::filesystem::path& folder)
{
    const plain::Market market = size.Market();
    std::ofstream(folder / "market.xml") << quindal::test::MarketDocument(market);
    std::ofstream accounts(folder / "accounts.csv");
    std::ofstream positions(folder / "positions.csv");
    accounts << "level,code\n";
    positions << "code,instrument,quantity,price\n";
    for (std::size_t client = 0; client < size.clients; ++client) {
        const std::string code = ClientCode(client);
        if (client % 1000 == 0) accounts << "firm," << code.substr(0, 4) << '\n';
        accounts << "client," << code << '\n';
        for (const Position& held : PositionsOf(client, size))
            positions << code << ','
                      << (held.isOption ? market.options[held.number].Code : market.futures[held.number].Code) << ','
                      << held.quantity << (held.isOption ? ",60\n" : ",1000\n");
    }
}

struct Run
{
    double seconds = 0.0;
    double residentBytes = 0.0; // at most
};

Run RunMargin(const std::string& command, const std::filesystem::path& folder)
{
    int status = 0;
    rusage usage{};
    const double seconds = SecondsOf([&] {
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
            ::execl(command.c_str(), command.c_str(), "margin", "--instruments", (folder / "market.xml").c_str(),
                    "--accounts", (folder / "accounts.csv").c_str(), "--positions", (folder / "positions.csv").c_str(),
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::wait4(child, &status, 0, &usage);
    });
    if (status != 0) throw std::runtime_error("the command line failed");
    return {seconds, static_cast<double>(usage.ru_maxrss) * 1024.0};
}

void PrintCommand(const std::vector<BookSize>& sizes, const std::string& command)
{
    bench::TextTable table("Books by the command line, from files to figures, all memory of the process",
                           {"Book", "clients", "positions", "seconds", "resident MB"});
    std::string folder = (std::filesystem::temp_directory_path() / "quindal-book-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
    for (const BookSize& size : sizes) {
        WriteFiles(size, folder);
        const Run run = RunMargin(command, folder);
        table.Add({size.name, Number(static_cast<double>(size.clients)), Number(size.Positions()),
                   Number(run.seconds, 1), Number(run.residentBytes / 1e6)});
    }
    std::filesystem::remove_all(folder);
    table.Print();
}

void PrintTables(const std::vector<std::string>& arguments)
{
    const auto given = [&](const char* word) {
        return std::find(arguments.begin(), arguments.end(), word) != arguments.end();
    };
    const std::size_t part = given("--quick") ? 100 : 1;
    std::vector<BookSize> sizes{{"futures", 10'000 / part, 300, 0}, {"mixed", 10'000 / part, 300, 40'000 / part}};
    if (given("--big")) sizes.push_back({"futures", 100'000, 300, 0});
    PrintEngine(sizes);
    if (!arguments.empty() && arguments.back().rfind("--", 0) != 0) PrintCommand(sizes, arguments.back());
}

} // namespace

int main(int argc, char** argv)
{
    return bench::Report("memory_table", [&] { PrintTables({argv + 1, argv + argc}); });
}
