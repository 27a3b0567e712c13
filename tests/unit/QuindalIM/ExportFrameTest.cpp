// The frame of the exports: what is logged, what is traced and what is returned on each way out.
#include "ExportFrame.h"

#include <new>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "FacadeFixture.h"

namespace test::ExportFrameTest {
namespace {

using kv7base::CZ9Error;
using QuindalIM::Export;
using QuindalIM::ExportCall;
using QuindalIM::ParamsBuilder;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Runs a body in the frame of an export named "Probe", with one argument.
template <class Body>
std::int32_t Probe(const Body& body, const void* pointer = "not null")
{
    return Export(
        "Probe", [](ParamsBuilder params) { params.Add("Argument", 7); }, {{"Pointer", pointer}}, body);
}

class ExportFrameTest : public CalculatorTest
{};

TEST_F(ExportFrameTest, TheResultIsRecordedWithItsTextAndReturned)
{
    EXPECT_EQ(Probe([](ExportCall& call) { return call.SetError(Z9ERR_OK); }), 0);
    EXPECT_EQ(Probe([](ExportCall& call) { return call.SetError(94714); }), 94714);
    EXPECT_THAT(TraceOf("Probe"),
                ElementsAre("00,,Probe,@Argument=7", "94714,CalcGO: Base contract not found,Probe,@Argument=7"));
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(ExportFrameTest, AWayOutThatSetsNoCodeIsTracedAsTheCommonError)
{
    EXPECT_EQ(Probe([](ExportCall&) { return Z9ERR_OK; }), 0);
    EXPECT_THAT(TraceOf("Probe"), ElementsAre("94808,QuindalIM common error,Probe,@Argument=7"));
}

TEST_F(ExportFrameTest, NobodyLooksAtTheArgumentsOfACallThatLeavesNoLine)
{
    int looks = 0;
    const auto call = [&looks] {
        return Export(
            "Probe", [&looks](ParamsBuilder params) { params.Add("Argument", ++looks); }, {},
            [](ExportCall& exportCall) {
                exportCall.Params().Add("Result", 8);
                return exportCall.SetError(94714);
            });
    };
    EXPECT_EQ(call(), 94714);
    EXPECT_EQ(looks, 1);
    kv7base::QLTracer::DeInit();
    EXPECT_EQ(call(), 94714);
    EXPECT_EQ(looks, 1);
    EXPECT_THAT(TraceOf("Probe"), ElementsAre("94714,CalcGO: Base contract not found,Probe,@Argument=1,@Result=8"));
}

TEST_F(ExportFrameTest, ANullPointerIsLoggedUnderItsNameAndTheBodyDoesNotRun)
{
    bool ran = false;
    EXPECT_EQ(Probe(
                  [&](ExportCall&) {
                      ran = true;
                      return Z9ERR_OK;
                  },
                  nullptr),
              94811);
    EXPECT_FALSE(ran);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] Probe: Pointer is null"));
    EXPECT_THAT(TraceOf("Probe"), ElementsAre("94811,QuindalIM wrong arguments,Probe,@Argument=7"));
}

TEST_F(ExportFrameTest, AnErrorOfTheLibraryGivesItsCodeAndALineWithItsText)
{
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw CZ9Error(94714, KV7_CURRENT_LOCATION).Fmt("about %s", "BC"); }),
              94714);
    EXPECT_THAT(log.Take(),
                ElementsAre(AllOf(HasSubstr("ERROR [QuindalIM] Caught exception while executing function Probe: '"
                                            "ErrorCode: 94714=0x171FA - CalcGO: Base contract not found, about BC;"),
                                  HasSubstr("ExportFrameTest.cpp:"))));
    EXPECT_THAT(TraceOf("Probe"), ElementsAre("94714,CalcGO: Base contract not found,Probe,@Argument=7"));
}

TEST_F(ExportFrameTest, AnyOtherExceptionIsTheCommonError)
{
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw std::runtime_error("of the standard kind"); }), 94808);
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw std::bad_alloc(); }), 94808);
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw 42; }), 94808);
    EXPECT_THAT(log.Take(),
                ElementsAre("ERROR [QuindalIM] Caught exception while executing function Probe: 'of the standard kind'",
                            "ERROR [QuindalIM] Caught exception while executing function Probe: 'std::bad_alloc'",
                            "ERROR [QuindalIM] Caught unknown exception while executing function Probe"));
    EXPECT_THAT(TraceOf("Probe"), Each("94808,QuindalIM common error,Probe,@Argument=7"));
}

// Whether a container or the engine's own pool notices it, a caller sees one code.
TEST_F(ExportFrameTest, ExhaustedMemoryIsTheCommonErrorWhicheverAllocationNoticesIt)
{
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw CZ9Error(Z9ERR_COMMON_NO_MEMORY, KV7_CURRENT_LOCATION); }), 94808);
    EXPECT_EQ(Probe([](ExportCall&) -> Z9ERR { throw std::bad_alloc(); }), 94808);
    EXPECT_THAT(TraceOf("Probe"), Each("94808,QuindalIM common error,Probe,@Argument=7"));
}

TEST_F(ExportFrameTest, EvenAnErrorOfTheLibraryIsTheCommonErrorWhenTheArgumentsThrowIt)
{
    EXPECT_EQ(Export(
                  "Probe", [](ParamsBuilder) { throw CZ9Error(94714, KV7_CURRENT_LOCATION); }, {},
                  [](ExportCall& call) { return call.SetError(Z9ERR_OK); }),
              94808);
}

TEST_F(ExportFrameTest, TheDescriptionOfACodeComesFromTheCatalogueOrThePlatform)
{
    EXPECT_STREQ(GetErrorCodeDescription(94808), "QuindalIM common error");
    EXPECT_STREQ(GetErrorCodeDescription(94212), "Settlement Account GO not enough");
    EXPECT_STREQ(GetErrorCodeDescription(94909), "agent core timeout ");
    EXPECT_EQ(GetErrorCodeDescription(94214), GetErrorCodeDescription(-1)) << "one text for every unknown code";
    EXPECT_STREQ(GetErrorCodeDescription(0), Z9ErrGetDescrStr(0));
    EXPECT_STREQ(Z9ErrGetDescrStr(94808), "QuindalIM common error") << "the platform knows our texts, too";
}

} // namespace
} // namespace test::ExportFrameTest
