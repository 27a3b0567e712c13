// Ini files as objects: CZ9Ini owns one open file of the platform, CZ9DefaultIni stands for the process's default file.
//
// Always true:  an object holds one handle or none; a handle held is closed once, by Close, by opening another
//               file or by the destructor. A failed Open leaves the handle that was held.
// Names:        sections and keys are case-sensitive; keys before the first section belong to the section "".
// Errors:       CZ9Error, with the platform's code or Z9ERR_COMMON_WRONG_INI_PARAMETER for a missing or wrong key.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Z9Ini.h"

namespace kv7base {

/// Owner of a raw handle that CloseFunction gives back. The empty handle is H{}. A copy takes the handle over and
/// leaves the object copied from empty.
template <class H, auto CloseFunction>
class CHandle
{
public:
    CHandle() noexcept = default;
    explicit CHandle(H handle) noexcept : m_h(handle) {}
    CHandle(CHandle& other) noexcept : m_h(std::exchange(other.m_h, H{})) {}
    CHandle(CHandle&& other) noexcept : m_h(std::exchange(other.m_h, H{})) {}
    CHandle& operator=(CHandle& other) noexcept
    {
        if (this != &other) Attach(std::exchange(other.m_h, H{}));
        return *this;
    }
    CHandle& operator=(CHandle&& other) noexcept { return *this = other; }
    virtual ~CHandle() { Release(); }

    /// Gives the handle up without closing it.
    [[nodiscard]] virtual H Detach() noexcept { return std::exchange(m_h, H{}); }
    virtual void Swap(CHandle& other) noexcept { std::swap(m_h, other.m_h); }

    /// Closes the handle, if there is one.
    void Release() noexcept
    {
        if (m_h != H{}) static_cast<void>(CloseFunction(std::exchange(m_h, H{})));
    }
    [[nodiscard]] H GetHandle() const noexcept { return m_h; }
    [[nodiscard]] bool IsInitialized() const noexcept { return m_h != H{}; }
    /// Closes the present handle and takes this one over.
    void Attach(H handle) noexcept
    {
        Release();
        m_h = handle;
    }

private:
    H m_h{};
};

/// An ini file. Reading from an object that is not open gives the defaults.
class CZ9Ini : public CHandle<void*, Z9IniCustClose>
{
public:
    ~CZ9Ini() override = default;
    CZ9Ini() = default;
    CZ9Ini(CZ9Ini&) = default;
    CZ9Ini(CZ9Ini&&) = default;
    CZ9Ini& operator=(CZ9Ini&) = default;
    CZ9Ini& operator=(CZ9Ini&&) = default;

    /// Opens a file; the present one is closed only when that worked. The name is kept either way.
    virtual void Open(const std::string& name);
    virtual void Close();

    /// Writes a number through to the file. Throws the platform's code.
    virtual void WriteInt(const std::string& section, const std::string& key, int value);
    /// Writes a text through to the file. Throws the platform's code.
    virtual void WriteStr(const std::string& section, const std::string& key, const std::string& value);

    /// Reads a flag: "true" and "1", "false" and "0", to the letter. Any other text throws, a missing key gives the
    /// default.
    [[nodiscard]] virtual bool ReadBool(const std::string& section, const std::string& key, bool defaultValue) const;
    [[nodiscard]] virtual int ReadInt(const std::string& section, const std::string& key, int defaultValue) const;
    /// Reads a number. Throws for a key that is missing or is no number.
    [[nodiscard]] virtual int ReadRequiredInt(const std::string& section, const std::string& key) const;
    [[nodiscard]] virtual std::string ReadStr(const std::string& section, const std::string& key,
                                              const std::string& defaultValue) const;
    [[nodiscard]] virtual std::string ReadRequiredStr(const std::string& section, const std::string& key) const;

    [[nodiscard]] const std::string& GetName() const noexcept { return m_name; }
    [[nodiscard]] bool IsOpen() const noexcept { return IsInitialized(); }

    /// Appends the names of all sections in file order; false when the platform's walk did not run to its end.
    [[nodiscard]] bool EnumSections(std::vector<std::string>& sections) const;
    /// Appends the names of a section's keys in file order; false when the platform's walk did not run to its end.
    [[nodiscard]] bool EnumSectionKeys(const std::string& section, std::vector<std::string>& keys) const;

protected:
    std::string m_name; // file name as it was given
};

/// The process's default ini file, by its marker handle. The file belongs to the process: this object's destructor
/// leaves it open, and only Close closes it.
class CZ9DefaultIni : public CZ9Ini
{
public:
    CZ9DefaultIni() = default;
    CZ9DefaultIni(const CZ9DefaultIni&) = delete;
    CZ9DefaultIni& operator=(const CZ9DefaultIni&) = delete;
    ~CZ9DefaultIni() override;

    /// Opens the default file, or joins the one that is open already.
    void Open(const std::string& name) override;
};

} // namespace kv7base
