// InstrumentTexts: the texts of an instrument as they are offered, by pointer or in a record.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "TableRecords.h"
#include "except.h"

namespace kv7im {

/// The text. Throws CArgumentException, naming the argument, for null.
[[nodiscard]] inline std::string_view TextOrThrow(const char* text, const char* name)
{
    if (text == nullptr)
        throw kv7base::CArgumentException(name, KV7_CURRENT_LOCATION).Fmt("%s of an instrument is null", name);
    return text;
}

/// View of the text of a record's field, which need not end with a zero when it is full.
[[nodiscard]] inline std::string_view ViewOfField(const t_instr& field)
{
    return {field, strnlen(field, sizeof(field))};
}

/// Text of a record's field.
[[nodiscard]] inline std::string TextOfField(const t_instr& field) { return std::string(ViewOfField(field)); }

} // namespace kv7im
