// The download: one request, one reply with the whole instrument dictionary, and the calculator filled from it.
#include <exception>
#include <memory>

#include <snappy.h>

#include "CalcGOConsts.h"
#include "CalcGOEx.h"
#include "InstrumentElements.h"
#include "OnlineTimer.h"
#include "ReplaceFile.h"
#include "RequestDocument.h"
#include "XmlDocument.h"
#include "Z9MQCore.h"
#include "except.h"
#include "z9log.h"

namespace QuindalIM {

using Enums::IMSrvMessageType;

namespace {

constexpr std::uint32_t SnappyIsWelcome = 1;

/// Value of a number property; 0 when the message does not have it.
[[nodiscard]] std::uint32_t SizeProperty(const Z9AutoMessage& message, const char* name)
{
    std::uint32_t value = 0;
    return Z9MsgCopyFieldUINT32(message.Get(), name, &value) == Z9ERR_OK ? value : 0;
}

[[nodiscard]] std::string_view Body(const Z9AutoMessage& message)
{
    const void* data = nullptr;
    std::size_t size = 0;
    if (Z9MsgGetBody(message.Get(), &data, &size) != Z9ERR_OK || data == nullptr) return {};
    return {static_cast<const char*>(data), size};
}

/// Reads the size that a block says it unpacks to. False, with a size of 0, when the block does not even say that.
[[nodiscard]] bool ReadUnpackedSize(std::string_view block, std::size_t& size)
{
    size = 0;
    return !block.empty() && snappy::GetUncompressedLength(block.data(), block.size(), &size);
}

} // namespace

bool Z9MQCore::GetInstrumentParameters(CCalcGOEx& calculator, const char* datetime)
{
    try {
        Z9AutoMessage reply;
        if (!RequireSession() || !RequestInstruments(datetime, reply)) return false;

        std::unique_ptr<char[]> unpacked;
        std::string_view text;
        if (!ReadInstruments(reply, unpacked, text)) return false;
        if (!m_xmlPath.empty()) SaveXmlCopy(text);
        if (m_replyReader) m_replyReader(text);

        if (datetime != nullptr)
            KV7TRACE_INFO_EX(LogCategory, "RequestInstruments with datetime: %s", datetime);
        else
            KV7TRACE_INFO_EX(LogCategory, "RequestInstruments without datetime");

        const XmlDocument document(text);
        calculator.ClearAll();
        InsertInstruments(calculator, document.Root("root"));
        return true;
    } catch (const XmlError& error) {
        KV7TRACE_ERROR_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters XMLReader: Exception: - %s", error.what());
        const std::string text = std::string("Could not parse message from server. ") + error.what();
        return Fail(text.c_str(), Z9ERR_NOT_OK);
    } catch (const kv7base::CZ9Error& error) {
        KV7TRACE_ERROR_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters error - %s", error.what());
        return Fail(error.what(), error.GetCode());
    } catch (const std::exception& error) {
        KV7TRACE_ERROR_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters Exception: - %s", error.what());
        return Fail(error.what(), Z9ERR_NOT_OK);
    }
}

bool Z9MQCore::RequestInstruments(const char* datetime, Z9AutoMessage& reply)
{
    static vxl_COnlineTimer timer("Z9MQSendMsg in CZ9MQCore::GetInstrumentParameters");

    Z9AutoMessage request;
    if (!CreateRequest(IMSrvMessageType::RequestInstruments2, request)) return false;
    if (!SetNumber(request, "snappy_support", SnappyIsWelcome)) return false;

    // The document keeps the number of the first edition of this request, 103, while the message says 109: the server
    // tells the editions apart by the message alone.
    const auto documentType = static_cast<std::uint32_t>(IMSrvMessageType::RequestInstruments);
    RequestAttributes attributes{{"msg_type", std::to_string(documentType)}};
    if (datetime != nullptr) attributes.emplace_back("datetime", datetime);
    if (!SetBody(request, CreateDocument("RequestInstruments", attributes))) return false;

    return Exchange(request, IMSrvMessageType::ReplyInstruments2, reply, &timer);
}

bool Z9MQCore::ReadInstruments(const Z9AutoMessage& reply, std::unique_ptr<char[]>& unpacked,
                               std::string_view& document)
{
    const std::string_view body = Body(reply);
    if (SizeProperty(reply, "snappy_support") == 0) { // the server decides, whatever the request announced
        document = body;
        return IsWithinReplyLimit(body.size());
    }
    const std::uint32_t decompressedSize = SizeProperty(reply, "snappy_decompressedSize");
    const std::uint32_t compressedSize = SizeProperty(reply, "snappy_compressedSize");
    KV7TRACE_INFO_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters::decompressedSize - %u", decompressedSize);
    KV7TRACE_INFO_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters::compressedSize - %u", compressedSize);

    std::size_t size = 0;
    if (!ReadUnpackedSize(body, size) || size != decompressedSize) {
        KV7TRACE_ERROR_WITH_CODE_EX(Z9ERR_COMMON_INTERNAL_ERROR, LogCategory,
                                    "Received corrupted message: expected and real uncompressed message size do not "
                                    "match: expected %u, got %P",
                                    decompressedSize, size);
        return Fail("Unexpected uncompressed message size", Z9ERR_COMMON_INTERNAL_ERROR);
    }
    if (!IsWithinReplyLimit(size)) return false;
    // Five bytes may claim four gigabytes, so the block is walked through before memory is taken for what it claims.
    if (!snappy::IsValidCompressedBuffer(body.data(), body.size()))
        return Fail("Could not process message from server", Z9ERR_COMMON_INTERNAL_ERROR);
    unpacked = std::make_unique_for_overwrite<char[]>(size);
    if (!snappy::RawUncompress(body.data(), body.size(), unpacked.get()))
        return Fail("Could not process message from server", Z9ERR_COMMON_INTERNAL_ERROR);
    document = std::string_view(unpacked.get(), size);
    return true;
}

bool Z9MQCore::IsWithinReplyLimit(std::size_t size)
{
    return size <= m_maxReplyBytes || Fail("Could not process message from server", Z9ERR_COMMON_INTERNAL_ERROR);
}

/// Saves a copy for inspection only: nothing reads the file back, and a download does not fail for want of it.
void Z9MQCore::SaveXmlCopy(std::string_view document) const
{
    if (!ReplaceFile(m_xmlPath, document))
        KV7TRACE_WARNING_EX(LogCategory, "CZ9MQCore::GetInstrumentParameters: the reply could not be copied to %s",
                            m_xmlPath.c_str());
}

} // namespace QuindalIM
