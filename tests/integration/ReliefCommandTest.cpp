// quindal relief against quindal margin: each step's figures are those of a run with the positions that it leaves.
#include "CommandLine.h"

namespace test::ReliefCommandTest {
namespace {

using namespace quindal::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

Finished Relief(std::vector<std::string> further)
{
    std::vector<std::string> arguments = Margin({"--instruments", Example("market.xml")});
    arguments[1] = "relief";
    arguments.insert(arguments.end(), further.begin(), further.end());
    return RunToEnd(arguments);
}

json Answer(std::vector<std::string> further)
{
    further.insert(further.end(), {"--format", "json"});
    const Finished finished = Relief(std::move(further));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return json::parse(finished.out);
}

class ReliefCommand : public CommandErrors
{
protected:
    /// GO of CL01002 with these positions in the place of its own.
    double GOWith(const std::string& held)
    {
        const Finished finished =
            RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "json"}, Example("accounts.csv"),
                            Write("positions.csv", "code,instrument,quantity,price\n" + held)));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        for (const Row& row : FromJson(finished.out))
            if (row.code == "CL01002") return row.go;
        return -1.0;
    }
};

// CL01002 holds 800 calls that protect 800 futures sold, and 60 of another futures. No trade alone frees so much.
TEST_F(ReliefCommand, TwoTradesReachWhatOneCannot)
{
    const json answer = Answer({"--client", "CL01002", "--target", "1240000", "--max", "1"});
    EXPECT_TRUE(answer.at("isReached").get<bool>());
    ASSERT_EQ(answer.at("steps").size(), 1U);
    const json& closing = answer.at("steps")[0];
    EXPECT_EQ(closing.at("trade"), "close");
    EXPECT_EQ(closing.at("instrument"), "RATE-3.27");
    const std::int64_t left = 60 - closing.at("quantity").get<std::int64_t>();
    const std::string rest = "CL01002,EURU-12.26,-800,1.0860\nCL01002,EURU-17DEC26-C1.1,800,0.0031\n";
    const auto held = [&](std::int64_t quantity) {
        return rest + "CL01002,RATE-3.27," + std::to_string(quantity) + ",\n";
    };
    EXPECT_EQ(closing.at("before"), GOWith(held(60)));
    EXPECT_EQ(closing.at("after"), GOWith(held(left)));
    EXPECT_GT(GOWith(held(left + 1)), 1240000.0);
    EXPECT_LE(closing.at("after").get<double>(), 1240000.0);

    const json further = Answer({"--client", "CL01002", "--target", "1100000", "--max", "1"});
    EXPECT_TRUE(further.at("isReached").get<bool>());
    ASSERT_EQ(further.at("steps").size(), 2U);
    EXPECT_EQ(further.at("steps")[0].at("after"), further.at("steps")[1].at("before"));
}

TEST_F(ReliefCommand, SaysWhatIsReachedAndWhatIsNot)
{
    EXPECT_THAT(Relief({"--client", "CL02001", "--target", "400000"}).out,
                StartsWith("GO of CL02001: 318 150.89, within 400 000.00\n"));
    const Finished tooFew = Relief({"--client", "CL01002", "--target", "100", "--max", "1", "--steps", "1"});
    EXPECT_EQ(tooFew.status, 0);
    EXPECT_THAT(tooFew.out, HasSubstr("100.00 is not reached"));
}

TEST_F(ReliefCommand, ThreeFormatsHaveTheSameFigures)
{
    const std::vector<std::string> question{"--client", "OM02001", "--target", "300000", "--max", "1"};
    const json answer = Answer(question);
    const auto in = [&](const char* format) {
        std::vector<std::string> arguments = question;
        arguments.insert(arguments.end(), {"--format", format});
        return Relief(arguments).out;
    };
    const json& step = answer.at("steps").at(0);
    const std::vector<std::string> csv = Split(Split(FiguresOf(in("csv")), "\n").at(1), ",");
    const std::vector<std::string> table = SplitColumns(Split(in("table"), "\n").at(3));
    EXPECT_EQ(csv.at(3), step.at("instrument").get<std::string>());
    EXPECT_EQ(table.at(1), step.at("instrument").get<std::string>());
    EXPECT_EQ(std::stod(csv.at(6)), step.at("before").get<double>());
    EXPECT_EQ(Ungrouped(table.at(4)), step.at("before").get<double>());
    EXPECT_EQ(std::stod(csv.at(8)), step.at("freed").get<double>());
    EXPECT_EQ(Ungrouped(table.at(6)), step.at("freed").get<double>());
}

TEST_F(ReliefCommand, WrongQuestionsAreNamed)
{
    EXPECT_THAT(Relief({"--client", "CL02009"}).errors, HasSubstr("--client: \"CL02009\" is none of the clients"));
    EXPECT_EQ(Relief({"--client", "CL02009"}).status, 1);
    EXPECT_EQ(Relief({"--client", "CL02001", "--target", "nan"}).status, 2);
    EXPECT_EQ(Relief({"--client", "CL02001", "--steps", "0"}).status, 2);
}

} // namespace
} // namespace test::ReliefCommandTest
