// An ini file of any bytes. Its lines cover it without gap; a value that is written is read back as it was, by text and
// by file, and every comment and unreadable line survives; names that could not be read back are refused.
#include <fstream>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Require.h"
#include "TempDir.h"
#include "Z9Err.h"
#include "Z9Ini.h"
#include "Z9IniText.h"

namespace {

constexpr Z9ERR wrongArguments = 2;

/// The lines that carry no value.
std::vector<std::string> OtherLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (const z9::IniLine& line : z9::ReadIniLines(text))
        if (line.kind == z9::IniLine::Kind::Comment || line.kind == z9::IniLine::Kind::Broken)
            lines.emplace_back(line.text);
    return lines;
}

void RequireCover(const std::string& text)
{
    const bool hasMark = text.starts_with("\xEF\xBB\xBF");
    std::size_t next = hasMark ? 3 : 0;
    for (const z9::IniLine& line : z9::ReadIniLines(text)) {
        Require(line.begin == next && line.end > line.begin, "each line begins where the one before ends");
        next = line.end;
    }
    Require(next == text.size(), "the last line ends with the text");
}

std::string Read(Z9INI_HANDLE file, const std::string& section, const std::string& key)
{
    const std::size_t size = Z9IniCustGetStr(file, nullptr, 0, section.c_str(), key.c_str(), "");
    std::string value(size, '\0');
    Require(Z9IniCustGetStr(file, value.data(), size, section.c_str(), key.c_str(), "") == size,
            "a value needs the same room twice");
    value.pop_back();
    return value;
}

int CountName(const char*, void* count)
{
    ++*static_cast<int*>(count);
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    // Names reach the library as zero-terminated texts.
    const std::string section = input.ConsumeRandomLengthString(20).c_str();
    const std::string key = input.ConsumeRandomLengthString(20).c_str();
    const std::string value = input.ConsumeRandomLengthString(40).c_str();
    const std::string text = input.ConsumeRemainingBytesAsString();
    RequireCover(text);

    static const TempDir folder;
    const std::string path = folder.Write("fuzzed.ini", text);
    Z9INI_HANDLE file = nullptr;
    Require(Z9IniCustOpen(&file, path.c_str()) == Z9ERR{0}, "any text can be opened");
    int sections = 0;
    Require(Z9IniCustEnumSections(file, &CountName, &sections) == Z9ERR{0}, "sections can be walked");

    const bool isWritable = z9::IsIniSectionName(section) && z9::IsIniKeyName(key) && z9::IsIniValue(value);
    const Z9ERR written = Z9IniCustWriteStr(file, section.c_str(), key.c_str(), value.c_str());
    Require(written == (isWritable ? Z9ERR{0} : wrongArguments), "what can be read back is written, nothing else");
    const std::string after = ReadFile(path);
    if (isWritable) {
        Require(Read(file, section, key) == value, "a value is read back as it was written");
        Require(after == z9::SetIniValue(text, section, key, value), "the file holds the changed text");
        RequireCover(after);
        Require(OtherLines(after) == OtherLines(text), "comments and unreadable lines survive a write");
        if (!value.empty()) // behind an empty value the blanks are chosen anew
            Require(z9::SetIniValue(after, section, key, value) == after,
                    "writing the same value twice is writing it once");
    } else {
        Require(after == text, "a refused write leaves the file alone");
    }
    Require(Z9IniCustClose(file) == Z9ERR{0}, "an open file can be closed");
    return 0;
}
