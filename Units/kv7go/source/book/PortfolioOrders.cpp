// How orders enter a portfolio: in a futures, in an option, and in a spread, each leg of which takes its share.
#include "book/RefreshedPortfolio.h"

#include <cstdlib>
#include <span>

#include <boost/container/small_vector.hpp>

#include "WrappingArithmetic.h"
#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "kv7errors.h"

namespace kv7im {

namespace {

/// Records of one leg; those of one call are few.
using LegOrders = boost::container::small_vector<SClearingDeltaOrder, 2>;

// Writes the prices of both legs into a leg order: their settlement prices and the centres of their grids.
void SetLegPrices(SOrderInfo& info, const CSpecFutures& first, const CSpecFutures& second) noexcept
{
    info.realCalcPriceFirstLeg = first.RealCalcPrice;
    info.realCalcPriceSecondLeg = second.RealCalcPrice;
    info.riskCenterFirstLeg = first.CalcFutPrice;
    info.riskCenterSecondLeg = second.CalcFutPrice;
}

bool EnforcesHalfNetting(const CSpecFutures& first, const CSpecFutures& second) noexcept
{
    return first.EnforceIMSHalfNetting || second.EnforceIMSHalfNetting;
}

std::int64_t TimesRatio(std::int64_t quantity, std::int32_t ratio) noexcept
{
    return kv7base::WrappingMul(quantity, std::llabs(ratio));
}

// Turns an order round: a leg that the spread sells is traded the other way.
void Reverse(SClearingDeltaOrder& order) noexcept
{
    order.CalculatedPrice.direction = order.isBuying ? KeyPriceType::Direction::Sell : KeyPriceType::Direction::Buy;
    order.isBuying = !order.isBuying;
}

LegOrders OrdersOfLeg(std::span<const SClearingDeltaOrder> orders, KeyPriceType::Type type, std::int32_t ratio,
                      const SOrderInfo& leg)
{
    LegOrders result(orders.begin(), orders.end());
    for (SClearingDeltaOrder& order : result) {
        SOrderInfo info = leg;
        info.initializationType = order.orderInfo.initializationType;
        info.multilegIsin = order.orderInfo.multilegIsin;
        info.deltaQuantity = TimesRatio(order.orderInfo.deltaQuantity, ratio);
        order.orderInfo = info;
        order.CalculatedPrice.type = type;
        if (ratio < 0) Reverse(order);
    }
    return result;
}

} // namespace

Z9ERR Portfolio::ChangeOrder(Isin isin, std::size_t count, const SClearingDeltaOrder* orders)
{
    return PreparedOrders(*this, isin, count, orders).Apply();
}

Portfolio::PreparedOrders::PreparedOrders(Portfolio& book, Isin isin, std::size_t count,
                                          const SClearingDeltaOrder* orders)
    : m_book(book), m_found(book.FindByIsin(isin)), m_code(Prepare(book, count, orders))
{
    if (m_code == Z9ERR_OK && book.IsSuspect() && book.IsSpoiltFor(book.MagnitudeOfHoldings(nullptr)))
        TakeAnew(isin, count, orders);
}

Portfolio::PreparedOrders::~PreparedOrders() = default;

Z9ERR Portfolio::PreparedOrders::Prepare(Portfolio& book, std::size_t count, const SClearingDeltaOrder* orders)
{
    if (m_found.MultilegFound()) return PrepareMultileg(book, count, orders);
    if (m_found.FuturesFound())
        m_first.emplace(m_found.GetPositionPtr()->MakeRoomForFutures(), count, orders);
    else if (m_found.OptionFound())
        m_first.emplace(m_found.GetPositionPtr()->MakeRoomForOption(*m_found.GetOptionPtr()), count, orders);
    return m_found.ErrorToZ9ErrorCode();
}

Z9ERR Portfolio::PreparedOrders::PrepareMultileg(Portfolio& book, std::size_t count, const SClearingDeltaOrder* orders)
{
    // The legs.
    const CSpecMultileg& multileg = *m_found.GetMultilegPtr();
    const SearchResult firstLeg = book.FindByIsin(multileg.GetFirstLegIsin());
    const SearchResult secondLeg = book.FindByIsin(multileg.GetSecondLegIsin());
    if (!firstLeg.FuturesFound() || !secondLeg.FuturesFound()) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
    const CSpecFutures& first = *firstLeg.GetFuturesPtr();
    const CSpecFutures& second = *secondLeg.GetFuturesPtr();

    // The part that the orders of both legs share.
    SOrderInfo leg;
    SetLegPrices(leg, first, second);
    leg.participantCalSpreadMarginType = multileg.IsIncompleteSpreadAspect() || EnforcesHalfNetting(first, second)
                                             ? Enums::SpreadMarginType::HalfNetting
                                             : book.participant_->GetCalSpreadMarginType();
    const std::span<const SClearingDeltaOrder> sent(orders, count);
    const LegOrders ofFirst = OrdersOfLeg(sent, KeyPriceType::Type::FirstLeg, multileg.qtyRatio1, leg);
    const LegOrders ofSecond = OrdersOfLeg(sent, KeyPriceType::Type::SecondLeg, multileg.qtyRatio2, leg);

    // A record with one leg in both slots takes them in one change: their kinds keep them apart.
    CumulativePositionByFutures& firstPosition = *m_found.GetPositionPtr();
    CumulativePositionByFutures& secondPosition = *m_found.GetPositionSecondLegPtr();
    if (&firstPosition == &secondPosition) {
        LegOrders both = ofFirst;
        both.insert(both.end(), ofSecond.begin(), ofSecond.end());
        m_first.emplace(firstPosition.MakeRoomForFutures(), both.size(), both.data());
        return Z9ERR_OK;
    }
    m_first.emplace(firstPosition.MakeRoomForFutures(), ofFirst.size(), ofFirst.data());
    m_second.emplace(secondPosition.MakeRoomForFutures(), ofSecond.size(), ofSecond.data());
    return Z9ERR_OK;
}

void Portfolio::PreparedOrders::Change()
{
    m_book.NoteMagnitude(MagnitudeOfChanges());
    if (m_found.OptionFound())
        m_found.GetPositionPtr()->ChangeOptionOrders(*m_found.GetOptionPtr(), *m_first);
    else
        m_found.GetPositionPtr()->ChangeFuturesOrders(*m_first);
    if (m_second) m_found.GetPositionSecondLegPtr()->ChangeFuturesOrders(*m_second);
}

double Portfolio::PreparedOrders::MagnitudeOfChanges() const noexcept
{
    return m_first->Magnitude() + (m_second ? m_second->Magnitude() : 0.0);
}

// The change is made in a copy of the book, and the copy is taken anew from what it holds then.
void Portfolio::PreparedOrders::TakeAnew(Isin isin, std::size_t count, const SClearingDeltaOrder* orders)
{
    m_first.reset();
    m_second.reset();
    m_before = std::make_unique<Refreshed>(m_book, Refreshed::Because::CellsAreSpoilt);
    m_found = m_book.FindByIsin(isin);
    m_code = Prepare(m_book, count, orders);
    if (m_code == Z9ERR_OK) Change();
    m_first.reset();
    m_second.reset();
    Refreshed(m_book, Refreshed::Because::CellsAreSpoilt).Keep();
    m_found = m_book.FindByIsin(isin);
}

Z9ERR Portfolio::PreparedOrders::Apply()
{
    if (TakesAnew())
        m_before->Keep();
    else if (m_code == Z9ERR_OK)
        Change();
    return m_code;
}

// Sets the prices of a leg order to those of the day on which its book is rebuilt. Both legs are read from the objects
// of the leg that is being rebuilt, since its order remembers the other leg's prices too, and that leg may be rebuilt
// later.
Z9ERR Portfolio::RefreshLegPrices(SOrderInfo& info, Isin isin)
{
    const SearchResult found = FindByIsin(info.multilegIsin);
    if (!found.MultilegFound()) return Z9ERR_INSTRUMENT_ABSENT;
    const CSpecMultileg& multileg = *found.GetMultilegPtr();
    const AccessByStatus access = participant_->GetInstruments().GetStatus(isin);
    const InstrumentsRepository& repository = participant_->GetInstruments().GetRepository();
    const CSpecFutures* const first = repository.GetFutures(access, multileg.GetFirstLegIsin());
    const CSpecFutures* const second = repository.GetFutures(access, multileg.GetSecondLegIsin());
    if (first == nullptr || second == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
    SetLegPrices(info, *first, *second);
    info.participantCalSpreadMarginType = multileg.IsIncompleteSpreadAspect() || EnforcesHalfNetting(*first, *second)
                                              ? Enums::SpreadMarginType::HalfNetting
                                              : participant_->GetCalSpreadMarginType();
    return Z9ERR_OK;
}

// Enters the orders of an instrument again. A leg order keeps the name of its spread, so that the next refresh finds
// it.
Z9ERR Portfolio::resetOrders(const OrdersMap& orders, Isin isin)
{
    for (const auto& [key, saved] : orders) {
        if (saved.deltaQuantity == 0) continue;
        SClearingDeltaOrder order = OrderRecordOf(isin, key, saved);
        if (key.type == KeyPriceType::Type::FirstLeg || key.type == KeyPriceType::Type::SecondLeg)
            if (const Z9ERR code = RefreshLegPrices(order.orderInfo, isin); code != Z9ERR_OK) return code;
        if (const Z9ERR code = ChangeOrder(isin, 1, &order); code != Z9ERR_OK) return code;
    }
    return Z9ERR_OK;
}

} // namespace kv7im
