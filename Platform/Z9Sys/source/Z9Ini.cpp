// Ini files: open files by handle, lookups through SimpleIni, writes straight through to the file.
//
// Files are read by ourselves and handed to SimpleIni line by line as Z9IniText sees them: its own reader asks for
// 2^63 bytes when it is given a directory, makes a section out of a "[" that is never closed, and says nothing about
// lines it drops. Its writer would lose the comments behind the last key, so a write changes the text itself.
#include "Z9Ini.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#define SI_NO_CONVERSION  // bytes in, bytes out: no wide characters here
#define SI_IMPLEMENTATION // Debian keeps the templates in a library that brings ICU along; built in here instead
#include <SimpleIni.h>

#include "Z9IniFile.h"
#include "Z9IniText.h"
#include "Z9Internal.h"
#include "Z9Log.h"

namespace {

constexpr off_t kMaxFileSize = off_t{16} * 1024 * 1024; // no ini file is that long; a log named by mistake is

// A file descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() { static_cast<void>(Close()); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool IsOpen() const noexcept { return number_ >= 0; }
    [[nodiscard]] int Number() const noexcept { return number_; }

    // False when something written earlier did not reach the file.
    [[nodiscard]] bool Close() noexcept
    {
        const bool good = number_ < 0 || ::close(number_) == 0;
        number_ = -1;
        return good;
    }

private:
    int number_;
};

// The whole content of a regular file of sane size, otherwise nothing.
std::optional<std::string> ReadRegularFile(const char* path)
{
    const Descriptor file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)); // a pipe without a writer must not block
    struct stat status
    {};
    if (!file.IsOpen() || ::fstat(file.Number(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode) || status.st_size > kMaxFileSize) return std::nullopt;

    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t filled = 0;
    while (filled < content.size()) {
        const ssize_t count = ::read(file.Number(), content.data() + filled, content.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break; // it became shorter while we read
        filled += static_cast<std::size_t>(count);
    }
    content.resize(filled);
    return content;
}

bool WriteAll(int descriptor, std::string_view content) noexcept
{
    while (!content.empty()) {
        const ssize_t count = ::write(descriptor, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// Replaces a file by a new one, so that nobody ever reads half of it. The permissions stay.
bool ReplaceFile(const std::string& path, const std::string& content)
{
    struct stat status
    {};
    if (::access(path.c_str(), W_OK) != 0 || ::stat(path.c_str(), &status) != 0) return false;

    std::string draft = path + ".XXXXXX";
    Descriptor file(::mkostemp(draft.data(), O_CLOEXEC));
    if (!file.IsOpen()) return false;
    const bool isWritten = WriteAll(file.Number(), content) && ::fchmod(file.Number(), status.st_mode & 07777) == 0;
    if (file.Close() && isWritten && ::rename(draft.c_str(), path.c_str()) == 0) return true;
    ::unlink(draft.c_str());
    return false;
}

// The path without links and independent of the working directory, nothing when there is no such file.
std::optional<std::string> RealPath(const char* name)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(name, nullptr), &std::free);
    if (resolved == nullptr) return std::nullopt;
    return std::string(resolved.get());
}

// The lines of a text that SimpleIni needs to see; each line that cannot be read is reported.
std::string ReadableLines(std::string_view text, const std::string& path)
{
    std::string readable = "\n"; // SimpleIni passes over a mark at the beginning, even if it belongs to a name
    unsigned number = 0;
    for (const z9::IniLine& line : z9::ReadIniLines(text)) {
        ++number;
        if (line.kind == z9::IniLine::Kind::Section) {
            readable.append("[").append(line.name).append("]\n");
        } else if (line.kind == z9::IniLine::Kind::Entry) {
            readable.append(line.name).append("=").append(line.value).append("\n");
        } else if (line.kind == z9::IniLine::Kind::Broken) {
            Z9LogWarningEx("Z9Ini", "Line %u of '%s' is no section, key or comment and is ignored", number,
                           path.c_str());
        }
    }
    return readable;
}

// Copies a text for SimpleIni as it is, and remembers where the copy of the last text stands. One text at a time.
class RememberingConverter : public SI_ConvertA<char>
{
public:
    using SI_ConvertA<char>::SI_ConvertA;
    bool ConvertFromStore(const char* text, std::size_t size, char* to, std::size_t room)
    {
        const bool isCopied = SI_ConvertA<char>::ConvertFromStore(text, size, to, room);
        copy = isCopied ? to : nullptr; // one that failed has gone already
        return isCopied;
    }

    static inline constinit char* copy = nullptr;
};

// One open file. Always true: the values are those of the file as it was last read or written by us.
class IniFile
{
public:
    static std::shared_ptr<IniFile> Open(const char* name)
    {
        const std::optional<std::string> path = RealPath(name);
        const std::optional<std::string> text = path ? ReadRegularFile(path->c_str()) : std::nullopt;
        if (!text) return nullptr;
        auto file = std::make_shared<IniFile>(*path);
        file->Load(*text);
        return file;
    }

    explicit IniFile(std::string path) : path_(std::move(path)) {}

    [[nodiscard]] std::optional<std::string> Find(const char* section, const char* key) const
    {
        const std::lock_guard lock(guard_);
        const char* value = values_->GetValue(section, key, nullptr);
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    }

    [[nodiscard]] bool HasSection(const char* section) const
    {
        const std::lock_guard lock(guard_);
        return values_->SectionExists(section);
    }

    [[nodiscard]] std::vector<std::string> Sections() const
    {
        const std::lock_guard lock(guard_);
        Values::TNamesDepend names;
        values_->GetAllSections(names);
        return InFileOrder(names);
    }

    [[nodiscard]] std::vector<std::string> Keys(const char* section) const
    {
        const std::lock_guard lock(guard_);
        Values::TNamesDepend names;
        values_->GetAllKeys(section, names);
        return InFileOrder(names);
    }

    // Writes a value. The file is read again first, so that what others wrote meanwhile, through another handle too, is
    // not undone.
    [[nodiscard]] Z9ERR Write(std::string_view section, std::string_view key, std::string_view value)
    {
        static z9::Immortal<std::mutex> oneWriter;
        const std::lock_guard writing(oneWriter.Get());
        const std::optional<std::string> before = ReadRegularFile(path_.c_str());
        if (!before) return Z9ERR_INI_CANNOT_WRITE;
        const std::string after = z9::SetIniValue(*before, section, key, value);
        if (!ReplaceFile(path_, after)) return Z9ERR_INI_CANNOT_WRITE;
        Load(after);
        return z9::kOk;
    }

private:
    using Values = CSimpleIniTempl<char, SI_GenericCase<char>, RememberingConverter>;

    void Load(std::string_view text)
    {
        const std::string readable = ReadableLines(text, path_);
        auto values = std::make_unique<Values>();
        LoadInto(values, readable);
        const std::lock_guard lock(guard_);
        values_ = std::move(values);
    }

    // SimpleIni leaves its copy of the text behind where memory ends while it is parsed.
    static void LoadInto(std::unique_ptr<Values>& values, const std::string& text)
    {
        static z9::Immortal<std::mutex> oneLoader;
        const std::lock_guard loading(oneLoader.Get());
        RememberingConverter::copy = nullptr;
        try {
            if (values->LoadData(text.data(), text.size()) < 0) throw std::bad_alloc();
        } catch (...) {
            values.reset(); // points into the copy
            delete[] RememberingConverter::copy;
            throw;
        }
    }

    static std::vector<std::string> InFileOrder(Values::TNamesDepend& names)
    {
        names.sort(Values::Entry::LoadOrder());
        std::vector<std::string> ordered;
        for (const Values::Entry& name : names)
            ordered.emplace_back(name.pItem);
        return ordered;
    }

    std::string path_;
    mutable std::mutex guard_;
    std::unique_ptr<Values> values_;
};

// All open files of the process.
struct OpenFiles
{
    std::shared_mutex guard;
    std::shared_ptr<IniFile> defaultFile;
    std::map<const void*, std::shared_ptr<IniFile>> files; // the handle is the address of the file
};

OpenFiles& Files()
{
    static z9::Immortal<OpenFiles> files;
    return files.Get();
}

// The file of a handle, null when there is none. It stays good while it is held, even when it is closed meanwhile.
std::shared_ptr<IniFile> FileOf(Z9INI_HANDLE handle)
{
    OpenFiles& open = Files();
    const std::shared_lock lock(open.guard);
    if (handle == Z9INI_DEFAULT) return open.defaultFile;
    const auto found = open.files.find(handle);
    return found == open.files.end() ? nullptr : found->second;
}

// The code for a handle without a file.
Z9ERR NoFileCode(Z9INI_HANDLE handle) noexcept
{
    return handle == Z9INI_DEFAULT ? Z9ERR_INI_NOT_OPENED : z9::kWrongArguments;
}

// Section names may be null for the keys before the first section.
const char* OrEmpty(const char* text) noexcept { return text == nullptr ? "" : text; }

std::optional<int32_t> ReadInt(std::string_view text) noexcept
{
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
    int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

size_t CopyOut(char* buffer, size_t size, std::string_view value) noexcept
{
    if (buffer != nullptr && size > 0) {
        const std::size_t count = std::min(value.size(), size - 1);
        std::memcpy(buffer, value.data(), count);
        buffer[count] = '\0';
    }
    return value.size() + 1;
}

Z9ERR CallBack(const std::vector<std::string>& names, Z9IniEnumCallback callback, void* context)
{
    for (const std::string& name : names) {
        if (callback(name.c_str(), context) != 0) return z9::kCancelEnum;
    }
    return z9::kOk;
}

} // namespace

// For the other sources --------------------------------------------------------------------------------------------

Z9ERR z9::IniCheckHandle(Z9INI_HANDLE handle) { return FileOf(handle) != nullptr ? kOk : NoFileCode(handle); }

bool z9::IniHasSection(Z9INI_HANDLE handle, const std::string& section)
{
    const std::shared_ptr<IniFile> file = FileOf(handle);
    return file != nullptr && file->HasSection(section.c_str());
}

std::optional<std::string> z9::IniFind(Z9INI_HANDLE handle, const std::string& section, const std::string& key)
{
    const std::shared_ptr<IniFile> file = FileOf(handle);
    return file != nullptr ? file->Find(section.c_str(), key.c_str()) : std::nullopt;
}

// The default file -------------------------------------------------------------------------------------------------

Z9ERR Z9IniOpen(const char* name)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (FileOf(Z9INI_DEFAULT) != nullptr) return Z9ERR_INI_ALREADY_OPENED;
        if (name == nullptr) return z9::kWrongArguments;
        std::shared_ptr<IniFile> file = IniFile::Open(name);
        if (file == nullptr) return Z9ERR_INI_CANNOT_OPEN;
        OpenFiles& open = Files();
        const std::unique_lock lock(open.guard);
        if (open.defaultFile != nullptr) return Z9ERR_INI_ALREADY_OPENED; // another thread was faster
        open.defaultFile = std::move(file);
        return z9::kOk;
    });
}

int Z9IniIsOpened(void)
{
    const Z9ERR code = z9::Guarded([] { return z9::IniCheckHandle(Z9INI_DEFAULT); });
    return code == z9::kOk ? 1 : 0;
}

Z9ERR Z9IniClose(void)
{
    return z9::Guarded([]() -> Z9ERR {
        OpenFiles& open = Files();
        const std::unique_lock lock(open.guard);
        if (open.defaultFile == nullptr) return Z9ERR_INI_NOT_OPENED;
        open.defaultFile.reset();
        return z9::kOk;
    });
}

// Files of the caller ----------------------------------------------------------------------------------------------

Z9ERR Z9IniCustOpen(Z9INI_HANDLE* handle, const char* name)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (handle == nullptr || name == nullptr) return z9::kWrongArguments;
        std::shared_ptr<IniFile> file = IniFile::Open(name);
        if (file == nullptr) return Z9ERR_INI_CANNOT_OPEN;
        OpenFiles& open = Files();
        const std::unique_lock lock(open.guard);
        Z9INI_HANDLE opened = file.get();
        open.files.emplace(opened, std::move(file));
        *handle = opened;
        return z9::kOk;
    });
}

Z9ERR Z9IniCustClose(Z9INI_HANDLE handle)
{
    if (handle == Z9INI_DEFAULT) return Z9IniClose();
    return z9::Guarded([&]() -> Z9ERR {
        OpenFiles& open = Files();
        const std::unique_lock lock(open.guard);
        return open.files.erase(handle) == 1 ? z9::kOk : z9::kWrongArguments;
    });
}

int32_t Z9IniCustGetInt(Z9INI_HANDLE handle, const char* section, const char* key, int32_t defaultValue)
{
    int32_t result = defaultValue;
    static_cast<void>(z9::Guarded([&]() -> Z9ERR {
        const std::optional<std::string> text = z9::IniFind(handle, OrEmpty(section), OrEmpty(key));
        if (text) result = ReadInt(*text).value_or(defaultValue);
        return z9::kOk;
    }));
    return result;
}

size_t Z9IniCustGetStr(Z9INI_HANDLE handle, char* buffer, size_t size, const char* section, const char* key,
                       const char* defaultValue)
{
    size_t needed = 0;
    const Z9ERR code = z9::Guarded([&]() -> Z9ERR {
        const std::optional<std::string> value = z9::IniFind(handle, OrEmpty(section), OrEmpty(key));
        needed = CopyOut(buffer, size, value ? std::string_view(*value) : OrEmpty(defaultValue));
        return z9::kOk;
    });
    return code == z9::kOk ? needed : CopyOut(buffer, size, OrEmpty(defaultValue));
}

Z9ERR Z9IniCustWriteInt(Z9INI_HANDLE handle, const char* section, const char* key, int32_t value)
{
    return z9::Guarded([&] { return Z9IniCustWriteStr(handle, section, key, std::to_string(value).c_str()); });
}

Z9ERR Z9IniCustWriteStr(Z9INI_HANDLE handle, const char* section, const char* key, const char* value)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (key == nullptr || value == nullptr) return z9::kWrongArguments;
        const bool good = z9::IsIniSectionName(OrEmpty(section)) && z9::IsIniKeyName(key) && z9::IsIniValue(value);
        if (!good) return z9::kWrongArguments;
        const std::shared_ptr<IniFile> file = FileOf(handle);
        return file != nullptr ? file->Write(OrEmpty(section), key, value) : NoFileCode(handle);
    });
}

Z9ERR Z9IniCustEnumSections(Z9INI_HANDLE handle, Z9IniEnumCallback callback, void* context)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (callback == nullptr) return z9::kWrongArguments;
        const std::shared_ptr<IniFile> file = FileOf(handle);
        if (file == nullptr) return NoFileCode(handle);
        std::vector<std::string> names = file->Sections();
        std::erase(names, ""); // keys before the first section stand in none
        return CallBack(names, callback, context);
    });
}

Z9ERR Z9IniCustEnumKeys(Z9INI_HANDLE handle, const char* section, Z9IniEnumCallback callback, void* context)
{
    return z9::Guarded([&]() -> Z9ERR {
        if (callback == nullptr) return z9::kWrongArguments;
        const std::shared_ptr<IniFile> file = FileOf(handle);
        if (file == nullptr) return NoFileCode(handle);
        return CallBack(file->Keys(OrEmpty(section)), callback, context);
    });
}
