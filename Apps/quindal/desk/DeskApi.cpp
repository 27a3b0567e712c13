#include "DeskApi.h"

#include <algorithm>
#include <new>
#include <sstream>

#include "BookCheck.h"
#include "ClientJson.h"
#include "DeskFit.h"
#include "DeskJson.h"
#include "DeskOrders.h"
#include "ExplainPage.h"
#include "ExplainReport.h"
#include "PictureJson.h"
#include "Report.h"
#include "Suggestion.h"
#include "Uploads.h"

namespace quindal {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr std::size_t MostInstruments = 50; // that a search shows

DeskAnswer ErrorAnswer(int status, const std::string& text) { return JsonAnswer({{"error", text}}, status); }

std::string_view NameOf(InstrumentKind kind)
{
    switch (kind) {
    case InstrumentKind::Futures:
        return "futures";
    case InstrumentKind::Option:
        return "option";
    default:
        return "calendar spread";
    }
}

bool IsTraded(InstrumentKind kind)
{
    return kind == InstrumentKind::Futures || kind == InstrumentKind::Option || kind == InstrumentKind::CalendarSpread;
}

std::string Upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

ReportFormat FormatOf(const json& request)
{
    const std::string format = TextField(request, "format");
    if (format == "csv") return ReportFormat::Csv;
    if (format == "json") return ReportFormat::Json;
    throw DeskError(DeskMalformed, "this download is csv or json");
}

const char* TypeOf(ReportFormat format) { return format == ReportFormat::Csv ? "text/csv" : "application/json"; }

DeskAnswer ReportAnswer(const MarginReport& report, const Provenance& provenance, ReportFormat format)
{
    std::ostringstream text;
    WriteReport(text, report, provenance, format);
    return {DeskGood, text.str(), TypeOf(format)};
}

/// The tree with its figures: a row each, in the order of the accounts.
ordered_json TreeJson(const MarginFigures& figures)
{
    ordered_json accounts = ordered_json::array();
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        accounts.push_back({account.id, MoneyText(account.GO)});
    ordered_json firms = ordered_json::array();
    for (const FirmFigures& firm : figures.firms)
        firms.push_back({firm.code, firm.settlementAccount, MoneyText(firm.GO)});
    ordered_json clients = ordered_json::array();
    for (const ClientFigures& client : figures.clients)
        clients.push_back({client.code, client.firm, MoneyText(client.GO)});
    return {{"accounts", std::move(accounts)}, {"firms", std::move(firms)}, {"clients", std::move(clients)}};
}

} // namespace

DeskAnswer DeskApi::Answer(std::string_view name, std::string_view body)
{
    using Request = DeskAnswer (DeskApi::*)(const json&);
    using Look = DeskAnswer (DeskApi::*)(const json&) const;
    const auto answer = [&]() -> DeskAnswer {
        const json request = json::parse(body, nullptr, false);
        if (!request.is_object()) throw DeskError(DeskMalformed, "the request is no JSON object");
        for (const auto& [known, look] :
             {std::pair<std::string_view, Look>{"book", &DeskApi::Book}, {"instruments", &DeskApi::Instruments}})
            if (name == known) return (this->*look)(request);
        for (const auto& [known, ask] : {std::pair<std::string_view, Request>{"client", &DeskApi::Client},
                                         {"picture", &DeskApi::Picture},
                                         {"whatif", &DeskApi::WhatIf},
                                         {"fit", &DeskApi::Fit},
                                         {"positions", &DeskApi::UploadPositions},
                                         {"orders", &DeskApi::UploadOrders},
                                         {"download", &DeskApi::Download}})
            if (name == known) return (this->*ask)(request);
        throw DeskError(DeskUnknown, "there is no such request");
    };
    DeskAnswer given;
    try {
        given = answer();
    } catch (const DeskError& error) {
        given = ErrorAnswer(error.Status(), error.what());
    } catch (const CommandError& error) {
        given = ErrorAnswer(error.Status() == StatusRefused ? DeskRefused : DeskFailed, error.what());
    } catch (const std::bad_alloc&) {
        given = ErrorAnswer(DeskFailed, "memory has run out");
    } catch (const std::exception& error) {
        given = ErrorAnswer(DeskFailed, error.what());
    }
    return given;
}

std::string DeskApi::ClientOf(const json& request) const
{
    std::string client = TextField(request, "client");
    if (m_book.HasClient(client)) return client;
    Suggestion suggestion(client);
    for (const ClientFigures& known : m_book.Figures().clients)
        suggestion.Offer(known.code);
    throw DeskError(DeskUnknown, "\"" + client + "\" is none of the clients in the accounts" + suggestion.Text());
}

DeskAnswer DeskApi::Book(const json&) const
{
    ordered_json answer = TreeJson(m_book.Figures());
    answer["provenance"] = ProvenanceJson(m_book.Origin());
    answer["positionsFile"] = m_book.Positions().file;
    answer["positions"] = m_book.Positions().rows.size();
    answer["warnings"] = m_book.Warnings();
    return JsonAnswer(answer);
}

DeskAnswer DeskApi::Client(const json& request)
{
    const std::string client = ClientOf(request);
    return JsonAnswer(ClientJson(m_book, client, m_book.Explain(client)));
}

DeskAnswer DeskApi::Picture(const json& request)
{
    const std::string client = ClientOf(request);
    return JsonAnswer(PictureJson(client, m_book.Explain(client), m_book.Origin(), TextField(request, "theme")));
}

DeskAnswer DeskApi::Instruments(const json& request) const
{
    const std::string search = Upper(TextField(request, "search"));
    ordered_json found = ordered_json::array();
    std::size_t count = 0;
    const auto take = [&](bool fromTheBeginning) {
        for (const auto& [code, kind] : m_book.Instruments().Kinds()) {
            const std::size_t at = IsTraded(kind) ? Upper(code).find(search) : std::string::npos;
            if (at == std::string::npos || (at == 0) != fromTheBeginning) continue;
            if (++count > MostInstruments) continue;
            const double price = kind == InstrumentKind::CalendarSpread ? 0.0 : m_book.CalculatedPrice(code);
            found.push_back({{"code", code},
                             {"kind", NameOf(kind)},
                             {"price", kind == InstrumentKind::CalendarSpread ? "" : PriceText(price)}});
        }
    };
    take(true);
    take(false);
    return JsonAnswer({{"instruments", std::move(found)}, {"count", count}});
}

DeskAnswer DeskApi::WhatIf(const json& request)
{
    Problems problems;
    const Rows<OrderRow> orders = ReadWhatIfs(request, problems);
    CheckOrders(m_book, orders, problems);
    if (!problems.IsEmpty()) return JsonAnswer(ProblemsJson(problems), DeskRefused);
    return JsonAnswer({{"whatIfs", WhatIfsForThePage(m_book.Try(orders))}});
}

DeskAnswer DeskApi::Fit(const json& request)
{
    Problems problems;
    const FitQuestion question = ReadFit(m_book, request, problems);
    if (!problems.IsEmpty()) return JsonAnswer(ProblemsJson(problems), DeskRefused);
    return JsonAnswer(FitJson(m_book.Largest(question)));
}

DeskAnswer DeskApi::UploadPositions(const json& request)
{
    const InputFile file = UploadedFile(request);
    Problems problems;
    Rows<PositionRow> positions = ReadPositions(file, problems);
    CheckRepeated(positions, problems);
    CheckHolders(m_book.Accounts(), positions, problems);
    CheckInstruments(m_book.Instruments(), positions, problems);
    if (!problems.IsEmpty()) return JsonAnswer(LinesWithProblems(file, problems), DeskRefused);
    m_book.Replace(std::move(positions));
    return JsonAnswer({{"file", file.name}, {"rows", m_book.Positions().rows.size()}});
}

DeskAnswer DeskApi::UploadOrders(const json& request)
{
    const InputFile file = UploadedFile(request);
    Problems problems;
    const Rows<OrderRow> orders = ReadOrders(file, problems);
    CheckClients(m_book.Accounts(), orders, problems);
    CheckInstruments(m_book.Instruments(), orders, problems);
    if (!problems.IsEmpty()) return JsonAnswer(LinesWithProblems(file, problems), DeskRefused);
    return JsonAnswer(
        {{"file", file.name}, {"rows", orders.rows.size()}, {"whatIfs", WhatIfsForThePage(m_book.Try(orders))}});
}

DeskAnswer DeskApi::Download(const json& request)
{
    const std::string what = TextField(request, "what");
    if (what == "book") return ReportAnswer({m_book.Figures(), {}, {}}, m_book.Origin(), FormatOf(request));
    if (what == "client") return DownloadOfClient(request);
    if (what != "whatifs" && what != "orders")
        throw DeskError(DeskMalformed, "a download is of the book, a client, whatifs or orders");
    Problems problems;
    const Rows<OrderRow> orders =
        what == "orders" ? ReadOrders(UploadedFile(request), problems) : ReadWhatIfs(request, problems);
    CheckOrders(m_book, orders, problems);
    if (!problems.IsEmpty()) return JsonAnswer(ProblemsJson(problems), DeskRefused);
    const MarginFigures figures = m_book.Figures();
    return ReportAnswer({figures, m_book.Try(orders), {}}, m_book.Origin(), FormatOf(request));
}

DeskAnswer DeskApi::DownloadOfClient(const json& request)
{
    ExplainedMargin explained;
    explained.code = ClientOf(request);
    const std::string format = TextField(request, "format");
    explained.explanation = m_book.Explain(explained.code);
    explained.GO = explained.explanation.margin;
    const Provenance provenance = m_book.Origin();
    const PictureInput drawn{NameOf(explained), explained.explanation, provenance};
    if (format == "svg") return {DeskGood, PictureAsSvg(drawn), "image/svg+xml"};
    if (format == "pdf") return {DeskGood, PictureAsPdf(drawn), "application/pdf"};
    if (format == "html") return {DeskGood, ExplanationPage(explained, provenance, 0), "text/html"};
    const ReportFormat report = FormatOf(request);
    std::ostringstream text;
    WriteExplanation(text, explained, provenance, report, 0);
    return {DeskGood, text.str(), TypeOf(report)};
}

} // namespace quindal
