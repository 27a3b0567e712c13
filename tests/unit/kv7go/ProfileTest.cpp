// Profile and BaseProfile: dimensions, the expansions and what a comparison looks at.

#include "grids/Profile.h"

#include <limits>

#include <gtest/gtest.h>

namespace test::ProfileTest {
namespace {

using kv7im::BaseProfile;
using kv7im::BindsRow;
using kv7im::Parameters;
using kv7im::Profile;
using kv7im::RiskMatrix;
using kv7im::StoredProfiles;
using Level = Enums::ClientRiskLevel;

/// An instrument that does nothing but carry profiles.
class Instrument : public StoredProfiles
{
public:
    explicit Instrument(const Parameters& parameters) : StoredProfiles(parameters) {}
    Instrument(std::size_t points, std::size_t scenarios) : StoredProfiles(points, scenarios) {}
    void RecalcInvariants() override { ++recalculations; }
    int recalculations = 0;
};

void ExpectShape(const RiskMatrix& matrix, std::size_t rows, std::size_t cols, const char* name)
{
    EXPECT_EQ(matrix.RowsCount(), rows) << name;
    EXPECT_EQ(matrix.ColsCount(), cols) << name;
}

/// A profile with three scenarios over five points and two delivery scenarios.
Profile Filled()
{
    Parameters parameters(5, 3);
    parameters.expirationScenariosCount = 2;
    Profile profile(parameters);
    profile.volatilityMatrix = 1.0;
    profile.interestRateMatrix = 2.0;
    profile.volatilityMismatchMatrix = 3.0;
    profile.expirationRiskMatrix = 4.0;
    profile.specialRiskPoints.SetZL(5.0);
    return profile;
}

TEST(Parameters, TwoCountsLeaveTheOthersAtZero)
{
    const Parameters parameters(11, 3);
    EXPECT_EQ(parameters.pointsCount, 11u);
    EXPECT_EQ(parameters.subPointsCount, 0u);
    EXPECT_EQ(parameters.scenariosVolatilityCount, 3u);
    EXPECT_EQ(parameters.expirationScenariosCount, 0u);
    EXPECT_EQ(parameters.length(), 11u);
    EXPECT_EQ(parameters.last(), 2u);
    EXPECT_FALSE(parameters.hasExpiration());
    EXPECT_FALSE(parameters.hasSubPoints());
}

TEST(Parameters, TheLengthCountsSubPointsToo)
{
    Parameters parameters(11, 3);
    parameters.subPointsCount = 6;
    parameters.expirationScenariosCount = 1;
    EXPECT_EQ(parameters.length(), 17u);
    EXPECT_TRUE(parameters.hasExpiration());
    EXPECT_TRUE(parameters.hasSubPoints());
}

TEST(Profile, ANewProfileIsZeroInItsDimensions)
{
    Parameters parameters(5, 3);
    parameters.subPointsCount = 2;
    parameters.expirationScenariosCount = 4;
    const Profile profile(parameters);
    ExpectShape(profile.Volatility(), 3, 7, "volatility");
    ExpectShape(profile.InterestRate(), 2, 7, "interest rate");
    ExpectShape(profile.VolatilityMismatch(), 2, 7, "mismatch");
    ExpectShape(profile.Expiration(), 4, 7, "expiration");
    EXPECT_EQ(profile.Volatility(), RiskMatrix(7, 3, true));
    EXPECT_EQ(profile.Expiration(), RiskMatrix(7, 4, true));
    EXPECT_EQ(profile.GetSpecialRiskPoints(), kv7im::SpecialRiskPoints());
    EXPECT_EQ(profile.Volatility().Binding(), nullptr);
}

TEST(Profile, TheNamedRowsAreTheRowsOfTheMatrices)
{
    Profile profile(Parameters(5, 3));
    profile.Volatility(0) = 1.0;
    profile.GetCentralRowOfVolatilityMatrix() = 2.0;
    profile.Volatility(2) = 3.0;
    profile.InterestRateUp() = 4.0;
    profile.InterestRateDown() = 5.0;
    profile.VolatilityMismatchUp() = 6.0;
    profile.VolatilityMismatchDown() = 7.0;
    EXPECT_EQ(profile.volatilityMatrix[0][4], 1.0);
    EXPECT_EQ(profile.volatilityMatrix[1][4], 2.0) << "of three scenarios the second is the unshifted one";
    EXPECT_EQ(profile.volatilityMatrix[2][4], 3.0);
    EXPECT_EQ(profile.interestRateMatrix[static_cast<std::size_t>(kv7im::InterestRateRow::Up)][4], 4.0);
    EXPECT_EQ(profile.interestRateMatrix[static_cast<std::size_t>(kv7im::InterestRateRow::Down)][4], 5.0);
    EXPECT_EQ(profile.volatilityMismatchMatrix[0][4], 6.0);
    EXPECT_EQ(profile.volatilityMismatchMatrix[1][4], 7.0);
    const Profile& read = profile;
    EXPECT_EQ(read.GetCentralRowOfVolatilityMatrix()[0], 2.0);
    EXPECT_EQ(read.InterestRateDown()[0], 5.0);
}

TEST(Profile, WithoutSubPointsAFoldedMatrixIsACopy)
{
    const Profile profile = Filled();
    EXPECT_EQ(profile.GetParameters().subPointsCount, 0u);
    EXPECT_EQ(profile.GetParameters().length(), profile.GetParameters().pointsCount);
    EXPECT_EQ(profile.Volatility().ConvolutionMatrix(), profile.Volatility());
}

TEST(Profile, SubPointsWidenAllFourMatricesAndZeroThem)
{
    BindsRow binds;
    binds.Resize(5, 3);
    Profile profile = Filled();
    profile.ExpandSubPoints(3, &binds);
    EXPECT_EQ(profile.GetParameters().subPointsCount, 3u);
    EXPECT_EQ(profile.Volatility(), RiskMatrix(8, 3, true));
    EXPECT_EQ(profile.InterestRate(), RiskMatrix(8, 2, true));
    EXPECT_EQ(profile.VolatilityMismatch(), RiskMatrix(8, 2, true));
    EXPECT_EQ(profile.Expiration(), RiskMatrix(8, 2, true));
    for (const RiskMatrix* matrix : {&profile.volatilityMatrix, &profile.interestRateMatrix,
                                     &profile.volatilityMismatchMatrix, &profile.expirationRiskMatrix})
        EXPECT_EQ(matrix->Binding(), &binds);
    EXPECT_EQ(profile.GetSpecialRiskPoints().GetZL(), 5.0) << "the special points stay";
}

TEST(Profile, AnUnchangedCountKeepsTheCellsAndStillSetsTheBinding)
{
    BindsRow binds;
    Profile profile = Filled();
    profile.ExpandSubPoints(0, &binds);
    EXPECT_EQ(profile.volatilityMatrix[1][1], 1.0);
    EXPECT_EQ(profile.volatilityMatrix.Binding(), &binds);
    EXPECT_EQ(profile.expirationRiskMatrix.Binding(), &binds);
}

TEST(Profile, DeliveryScenariosComeOnThePresentColumns)
{
    Profile profile(Parameters(5, 3));
    ExpectShape(profile.Expiration(), 0, 5, "before");
    profile.ExpandExpirationMatrix(7);
    EXPECT_EQ(profile.GetParameters().expirationScenariosCount, 7u);
    EXPECT_EQ(profile.Expiration(), RiskMatrix(5, 7, true));
}

TEST(Profile, SubPointsBeforeDeliveryScenariosWidenThem)
{
    BindsRow binds;
    Profile profile(Parameters(5, 3));
    profile.ExpandSubPoints(2, &binds);
    profile.ExpandExpirationMatrix(4);
    ExpectShape(profile.Expiration(), 4, 7, "expiration");
}

TEST(Profile, ExcludingExpirationDropsItsColumnsForGood)
{
    Profile profile = Filled();
    profile.ExcludeExpiration();
    EXPECT_FALSE(profile.GetParameters().hasExpiration());
    ExpectShape(profile.Expiration(), 0, 0, "excluded");
    EXPECT_EQ(profile.volatilityMatrix[0][0], 1.0) << "the other matrices stay";
    profile.ExpandExpirationMatrix(3);
    ExpectShape(profile.Expiration(), 3, 0, "expanded again, on no columns");
}

TEST(Profile, ProfilesThatDifferOnlyInDeliveryRowsCompareEqual)
{
    const Profile profile = Filled();
    Profile other = Filled();
    other.expirationRiskMatrix = 99.0;
    EXPECT_TRUE(profile == other);
    other.ExcludeExpiration();
    EXPECT_TRUE(profile == other);
    EXPECT_FALSE(profile != other);
}

TEST(Profile, EveryOtherDifferenceIsSeen)
{
    const Profile profile = Filled();
    for (int what = 0; what < 4; ++what) {
        Profile other = Filled();
        if (what == 0) other.volatilityMatrix[2][4] += 1.0;
        if (what == 1) other.interestRateMatrix[1][4] += 1.0;
        if (what == 2) other.volatilityMismatchMatrix[1][4] += 1.0;
        if (what == 3) other.specialRiskPoints.SetUpRisk(1.0);
        EXPECT_TRUE(profile != other) << what;
    }
    Profile notANumber = Filled();
    notANumber.specialRiskPoints.SetZL(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(notANumber != Profile(notANumber));
}

TEST(BaseProfile, AllFiveLevelsStartWithTheSameDimensionsAndZeros)
{
    const Instrument byCounts(5, 3);
    Parameters parameters(5, 3);
    parameters.expirationScenariosCount = 2;
    const Instrument byParameters(parameters);
    for (const Level level : Enums::PossibleClientRiskLevelValues) {
        EXPECT_EQ(byCounts.GetProfile(level), Profile(Parameters(5, 3)));
        ExpectShape(byParameters.GetProfile(level).Expiration(), 2, 5, "expiration");
        EXPECT_EQ(byParameters.GetZL(level), 0.0);
    }
}

TEST(BaseProfile, EachLevelIsItsOwnAndMayHaveItsOwnDimensions)
{
    BindsRow binds;
    Instrument instrument(5, 3);
    instrument.GetProfile(Level::High).ExpandSubPoints(4, &binds);
    EXPECT_TRUE(instrument.GetProfile(Level::High).GetParameters().hasSubPoints());
    EXPECT_FALSE(instrument.GetProfile(Level::Low).GetParameters().hasSubPoints());
    EXPECT_EQ(instrument.GetProfile(Level::High).Volatility().ColsCount(), 9u);
    EXPECT_EQ(instrument.GetProfile(Level::Low).Volatility().ColsCount(), 5u);
}

TEST(BaseProfile, TheAccessorsReadTheSpecialPointsOfTheirLevel)
{
    Instrument instrument(5, 3);
    double* points = instrument.GetProfile(Level::Exceptional).GetSpecialRiskPoints().pData();
    for (int i = 0; i < 8; ++i)
        points[i] = 10.0 + i;
    EXPECT_EQ(instrument.GetDownRisk(Level::Exceptional), 10.0);
    EXPECT_EQ(instrument.GetZL(Level::Exceptional), 11.0);
    EXPECT_EQ(instrument.GetMR3D(Level::Exceptional), 12.0);
    EXPECT_EQ(instrument.GetMR2D(Level::Exceptional), 13.0);
    EXPECT_EQ(instrument.GetMR2U(Level::Exceptional), 14.0);
    EXPECT_EQ(instrument.GetMR3U(Level::Exceptional), 15.0);
    EXPECT_EQ(instrument.GetZR(Level::Exceptional), 16.0);
    EXPECT_EQ(instrument.GetUpRisk(Level::Exceptional), 17.0);
    EXPECT_EQ(instrument.GetUpRisk(Level::Default), 0.0);
}

TEST(BaseProfile, RecalculationIsReachedThroughTheBase)
{
    Instrument instrument(5, 3);
    static_cast<BaseProfile&>(instrument).RecalcInvariants();
    EXPECT_EQ(instrument.recalculations, 1);
}

} // namespace
} // namespace test::ProfileTest
