// DeskApi: the requests of the page, each with a name and JSON, and their answers. It knows nothing of HTTP.
//
// Money is answered as a number and as the text that the reports of the command line have for it; the page computes
// nothing. What is asked wrongly is answered with an object "error" and a status, whatever comes.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "DeskAnswer.h"
#include "DeskBook.h"

namespace quindal {

class DeskApi
{
public:
    /// The book outlives it.
    explicit DeskApi(DeskBook& book) : m_book(book) {}

    /// Answers the request of this name: book, client, picture, instruments, whatif, fit, positions, orders, download.
    [[nodiscard]] DeskAnswer Answer(std::string_view name, std::string_view body);

private:
    [[nodiscard]] DeskAnswer Book(const nlohmann::json& request) const;
    [[nodiscard]] DeskAnswer Client(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer Picture(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer Instruments(const nlohmann::json& request) const;
    [[nodiscard]] DeskAnswer WhatIf(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer Fit(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer UploadPositions(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer UploadOrders(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer Download(const nlohmann::json& request);
    [[nodiscard]] DeskAnswer DownloadOfClient(const nlohmann::json& request);

    [[nodiscard]] std::string ClientOf(const nlohmann::json& request) const;

    DeskBook& m_book;
};

} // namespace quindal
