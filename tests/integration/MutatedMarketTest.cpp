// Market files that slips of the hand, other programs and full disks have been at: what is accepted gives figures, what
// is refused is named.
#include <array>
#include <cmath>
#include <random>
#include <sstream>
#include <string>

#include "CommandLine.h"

namespace test::MutatedMarketTest {
namespace {

using namespace quindal::test;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr unsigned Seed = 11;
constexpr int Files = 60;

class MutatedMarkets : public CommandErrors
{
protected:
    std::size_t Below(std::size_t size) { return std::uniform_int_distribution<std::size_t>(0, size - 1)(m_random); }

    /// Where the next value between quotation marks stands, from anywhere on.
    std::pair<std::size_t, std::size_t> SomeValue(const std::string& text)
    {
        const std::size_t begin = text.find("=\"", Below(text.size() / 2)) + 2;
        return {begin, text.find('"', begin) - begin};
    }

    std::string Mutated(std::string text)
    {
        static const std::array<std::string, 14> values{"nan",    "inf", "-inf", "1e308", "-1e308",
                                                        "1e-320", "",    "-1",   "0",     "99999999999999999999",
                                                        "0x10",   "1,5", "x",    "INDX"};
        const auto [begin, size] = SomeValue(text);
        switch (Below(6)) {
        case 0: // most of what goes wrong is in a value
        case 1:
            return text.replace(begin, size, values[Below(values.size())]);
        case 2:
            return text.erase(Below(text.size()), 1 + Below(40));
        case 3:
            text[Below(text.size())] = static_cast<char>(Below(256));
            return text;
        case 4: { // an element twice
            const std::size_t element = text.rfind("\n  <", begin);
            return text.insert(element, text.substr(element, text.find("/>", element) + 2 - element));
        }
        default:
            return text.substr(0, Below(text.size()));
        }
    }

private:
    std::mt19937 m_random{Seed};
};

void ExpectFigures(const Finished& finished)
{
    const std::vector<Row> rows = FromCsv(finished.out);
    EXPECT_EQ(rows.size(), 18U) << "ten clients, five firms, three accounts";
    for (const Row& row : rows) {
        EXPECT_TRUE(std::isfinite(row.go) && row.go >= 0.0) << row.code;
        EXPECT_TRUE(std::isfinite(row.volatility.value_or(0.0))) << row.code;
        EXPECT_TRUE(std::isfinite(row.delivery.value_or(0.0))) << row.code;
    }
}

TEST_F(MutatedMarkets, GiveFiniteFiguresForEveryRowOrAreRefusedByNameAndReason)
{
    std::ostringstream whole;
    whole << std::ifstream(Example("market.xml"), std::ios::binary).rdbuf();
    int accepted = 0;
    int refused = 0;
    for (int i = 0; i < Files; ++i) {
        SCOPED_TRACE("seed " + std::to_string(Seed) + ", file " + std::to_string(i));
        const std::string market = Write("market.xml", Mutated(whole.str()));
        const Finished finished = RunToEnd(Margin({"--instruments", market, "--format", "csv"}));
        ASSERT_THAT(finished.status, AnyOf(0, 1)) << finished.errors;
        if (finished.status == 0) {
            ExpectFigures(finished);
            ++accepted;
            continue;
        }
        ++refused;
        EXPECT_THAT(finished.out, IsEmpty());
        // The file itself, or a row of another one that names what this one has no more.
        EXPECT_THAT(finished.errors,
                    AnyOf(HasSubstr("quindal: " + market + ":"), HasSubstr("is none of the instruments of the market"),
                          HasSubstr("is none of the base contracts of the market"),
                          HasSubstr("quindal: the margin of ")));
    }
    EXPECT_GT(accepted, Files / 10);
    EXPECT_GT(refused, Files / 10);
}

} // namespace
} // namespace test::MutatedMarketTest
