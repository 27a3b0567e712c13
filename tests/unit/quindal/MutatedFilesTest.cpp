// Thousands of files that were good and had something done to them.
#include <array>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "AcceptedOrRefused.h"

namespace test::MutatedFilesTest {
namespace {

using namespace quindal::test;

std::string ContentOf(const char* file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

/// Does one of the things to a file that people and programs do.
class Mutator
{
public:
    explicit Mutator(unsigned seed) : m_random(seed) {}

    void Change(std::string& text)
    {
        if (text.empty()) return;
        switch (Below(6)) {
        case 0: // a cell
            ReplaceCell(text);
            break;
        case 1: // a byte
            text[Below(text.size())] = static_cast<char>(Below(256));
            break;
        case 2: // something left out
            text.erase(Below(text.size()), 1 + Below(12));
            break;
        case 3: // a line twice
            RepeatLine(text);
            break;
        case 4: // other separators
            std::replace(text.begin(), text.end(), ',', Below(2) == 0 ? ';' : '\t');
            break;
        default: // a mark or a sign put in
            text.insert(Below(text.size()), Pick({"\"", "\n", "\r\n", ",", "#", "-", "e308", "\xEF\xBB\xBF", " "}));
        }
    }

private:
    std::size_t Below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random); }
    const char* Pick(std::initializer_list<const char*> texts) { return texts.begin()[Below(texts.size())]; }

    void ReplaceCell(std::string& text)
    {
        const std::size_t from = text.find(',', Below(text.size()));
        if (from == std::string::npos) return;
        const std::size_t end = std::min(text.find_first_of(",\n", from + 1), text.size());
        text.replace(from + 1, end - from - 1,
                     Pick({"",      "nan",           "-inf",   "1e300", "1e999", "-1", "0", "7",
                           "0.125", "1000000000001", "client", "AA01",  "1,5",   "\"", "x", "9223372036854775808",
                           "0x1p3", "\xFF",          "-0.0",   "1e-400"}));
    }
    void RepeatLine(std::string& text)
    {
        const std::size_t begin = text.rfind('\n', Below(text.size()));
        if (begin == std::string::npos) return;
        const std::size_t end = std::min(text.find('\n', begin + 1), text.size());
        text.insert(end, text.substr(begin, end - begin));
    }

    std::mt19937 m_random;
};

std::string Mutated(const std::string& text, unsigned seed)
{
    Mutator mutator(seed);
    std::string changed = text;
    for (unsigned i = 0; i <= seed % 4; ++i)
        mutator.Change(changed);
    return changed;
}

TEST(MutatedFiles, AreCountedWholeOrRefusedWithFileLineAndReason)
{
    const std::string accounts = ContentOf(QUINDAL_EXAMPLES "/accounts.csv");
    const std::string positions = ContentOf(QUINDAL_EXAMPLES "/positions.csv");
    const std::string orders = ContentOf(QUINDAL_EXAMPLES "/orders.csv");
    ASSERT_EQ(BrokenAccounts(accounts), "");
    ASSERT_EQ(DataLines(accounts), 19U);
    EXPECT_TRUE(rc::check("any change of a file is seen or meant", [&] {
        for (int i = 0; i < 10; ++i) {
            const auto seed = *rc::gen::arbitrary<unsigned>();
            RC_ASSERT(BrokenAccounts(Mutated(accounts, seed)) == std::string());
            RC_ASSERT(BrokenPositions(Mutated(positions, seed)) == std::string());
            RC_ASSERT(BrokenOrders(Mutated(orders, seed)) == std::string());
        }
    }));
}

} // namespace
} // namespace test::MutatedFilesTest
