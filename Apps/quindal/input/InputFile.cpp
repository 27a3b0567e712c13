#include "InputFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "Errors.h"

namespace quindal {

namespace {

/// A descriptor; standard input stays open, a file is closed.
class Descriptor
{
public:
    explicit Descriptor(const std::string& path)
        : m_isOwn(path != StandardInput), m_number(m_isOwn ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO)
    {}
    ~Descriptor()
    {
        if (m_isOwn && m_number >= 0) ::close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Number() const noexcept { return m_number; }

private:
    bool m_isOwn;
    int m_number;
};

/// When a regular file was last changed.
std::optional<std::chrono::system_clock::time_point> ChangeOf(int descriptor)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return std::chrono::system_clock::time_point(std::chrono::seconds(status.st_mtim.tv_sec) +
                                                 std::chrono::nanoseconds(status.st_mtim.tv_nsec));
}

} // namespace

InputFile ReadInput(const std::string& path)
{
    InputFile file{path == StandardInput ? "<stdin>" : path, {}, {}};
    const auto fail = [&] {
        throw InputError(file.name + ": cannot be read: " + std::generic_category().message(errno));
    };
    const Descriptor descriptor(path);
    if (descriptor.Number() < 0) fail();
    file.changed = ChangeOf(descriptor.Number());
    constexpr std::size_t block = 1U << 16U;
    for (;;) {
        const std::size_t size = file.text.size();
        file.text.resize(size + block);
        const ssize_t count = ::read(descriptor.Number(), file.text.data() + size, block);
        file.text.resize(size + (count > 0 ? static_cast<std::size_t>(count) : 0));
        if (count == 0) return file;
        if (count < 0 && errno != EINTR) fail();
    }
}

} // namespace quindal
