#include "DeskFit.h"

#include <charconv>
#include <string>

#include "DeskJson.h"
#include "DeskOrders.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

/// The money of a request; a text that is none becomes a problem.
double MoneyOf(const nlohmann::json& request, Problems& problems)
{
    const std::string typed = TextField(request, "money");
    std::string text = typed;
    std::erase(text, ' ');
    double money = 0.0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), money, std::chars_format::fixed);
    // The largest money has its cents.
    const bool isMoney = fault == std::errc() && end == text.data() + text.size() && money >= 0.0 && money <= 9e13;
    if (!isMoney) problems.Add({"order", 1, "money", typed, "is no amount of money from 0 to 9x10^13"});
    return money;
}

ordered_json FiguresJson(const FitFigures& figures)
{
    return {{"quantity", figures.quantity},
            {"GO", MoneyJson(figures.GO)},
            {"premium", MoneyJson(figures.premium)},
            {"used", MoneyJson(figures.used)}};
}

} // namespace

FitQuestion ReadFit(const DeskBook& book, const nlohmann::json& request, Problems& problems)
{
    const std::string of = TextField(request, "of");
    if (of != "limit" && of != "free") throw DeskError(DeskMalformed, "the money is a limit, or free");
    nlohmann::json order = request.value("order", nlohmann::json());
    if (!order.is_object()) throw DeskError(DeskMalformed, "the request has no object \"order\"");
    order["quantity"] = "1"; // what is asked for
    const nlohmann::json one{{"label", "fit"}, {"orders", nlohmann::json::array({order})}};
    const Rows<OrderRow> rows = ReadWhatIfs({{"whatIfs", nlohmann::json::array({one})}}, problems);
    CheckOrders(book, rows, problems);
    FitQuestion question;
    question.money = MoneyOf(request, problems);
    question.isFree = of == "free";
    const OrderRow& row = rows.rows.front();
    question.client = row.client;
    question.items.push_back({row.instrument, row.isBuy, 1, row.price});
    return question;
}

ordered_json FitJson(const FitAnswer& answer)
{
    ordered_json told{{"without", FiguresJson(answer.without)}};
    if (answer.with) told["with"] = FiguresJson(*answer.with);
    if (answer.next) told["next"] = FiguresJson(*answer.next);
    return told;
}

} // namespace quindal
