#include "ServerStatistics.h"

#include <nlohmann/json.hpp>

#include "NatsHandles.h"
#include "UtcText.h"

namespace quindal {

namespace {

constexpr const char* Subject = "$SRV.STATS.kv7go_srv_60";

NatsConnection Connect(std::uint16_t port, const std::string& user, const std::string& password,
                       std::chrono::milliseconds patience)
{
    natsOptions* raw = nullptr;
    if (natsOptions_Create(&raw) != NATS_OK) return nullptr;
    const NatsOptions options(raw);
    natsConnection* connection = nullptr;
    const bool isConnected = natsOptions_SetURL(raw, ("nats://127.0.0.1:" + std::to_string(port)).c_str()) == NATS_OK &&
                             natsOptions_SetUserInfo(raw, user.c_str(), password.c_str()) == NATS_OK &&
                             natsOptions_SetCustomInboxPrefix(raw, ("_INBOX." + user).c_str()) == NATS_OK &&
                             natsOptions_SetTimeout(raw, patience.count()) == NATS_OK &&
                             natsOptions_SetAllowReconnect(raw, false) == NATS_OK &&
                             natsConnection_Connect(&connection, raw) == NATS_OK;
    return NatsConnection(isConnected ? connection : nullptr);
}

} // namespace

std::optional<ServerStatistics> ReadServerStatistics(const std::string& text)
{
    try {
        const auto reply = nlohmann::json::parse(text);
        const auto& endpoint = reply.at("endpoints").at(0);
        const auto& data = endpoint.at("data");
        const auto started = ReadUtcText(reply.at("started").get<std::string>());
        const auto marketRead = ReadUtcText(data.at("market_read").get<std::string>());
        if (!started || !marketRead) return std::nullopt;
        return ServerStatistics{reply.at("id").get<std::string>(),
                                *started,
                                endpoint.at("num_requests").get<std::uint64_t>(),
                                endpoint.at("num_errors").get<std::uint64_t>(),
                                data.at("market_bytes").get<std::uint64_t>(),
                                *marketRead};
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

std::optional<ServerStatistics> AskServerStatistics(std::uint16_t port, const std::string& user,
                                                    const std::string& password, std::chrono::milliseconds patience)
{
    const NatsConnection connection = Connect(port, user, password, patience);
    if (connection == nullptr) return std::nullopt;
    natsMsg* raw = nullptr;
    if (natsConnection_RequestString(&raw, connection.get(), Subject, "", patience.count()) != NATS_OK)
        return std::nullopt;
    const NatsMessage reply(raw);
    return ReadServerStatistics({natsMsg_GetData(raw), static_cast<std::size_t>(natsMsg_GetDataLength(raw))});
}

} // namespace quindal
