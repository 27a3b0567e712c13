#include "Users.h"

#include <array>
#include <string_view>

#include "CsvTable.h"
#include "Printable.h"
#include "UserNames.h"

namespace quindal {

namespace {

UserRecord RecordOf(const CsvRow& row)
{
    UserRecord record;
    record.partCount = row.Integer32("part_count", record.partCount);
    const std::string& loginType = row.Text("login_type");
    if (!IsPlainText(loginType)) throw row.Error("column \"login_type\" is no UTF-8 text, or holds control characters");
    if (!loginType.empty()) record.loginType = loginType;
    return record;
}

std::string PasswordOf(const CsvRow& row)
{
    const std::string& password = row.Required("password");
    if (const std::string_view fault = FaultOfPassword(password); !fault.empty())
        throw row.Error("column \"password\" " + std::string(fault));
    return password;
}

} // namespace

Users ReadUsers(const std::string& file, bool needPasswords, const std::string& serverUser)
{
    static constexpr std::array<std::string_view, 4> columns{"user", "part_count", "login_type", "password"};
    const CsvTable table(file, columns);
    Users users;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const CsvRow row = table[i];
        const std::string& name = row.Required("user");
        if (!IsUserName(name)) throw row.Error(NotAUserName(name));
        if (name == serverUser) throw row.Error("user \"" + name + "\" is the server itself");
        if (!users.records.emplace(name, RecordOf(row)).second) throw row.Error("user \"" + name + "\" stands twice");
        if (needPasswords) users.routerUsers.push_back({name, PasswordOf(row)});
    }
    return users;
}

} // namespace quindal
