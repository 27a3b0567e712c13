#include "Users.h"

#include <optional>
#include <string_view>

#include "InputFile.h"
#include "Printable.h"
#include "Problems.h"
#include "Rows.h"

namespace quindal {

Users ReadUsers(const std::string& file, bool needPasswords, const std::string& serverUser)
{
    Problems problems;
    const Rows<UserRow> rows = ReadUsers(ReadInput(file), needPasswords, problems);
    Users users;
    for (const UserRow& row : rows.rows) {
        if (row.user == serverUser) problems.Add({rows.file, row.line, "user", row.user, "is the server itself"});
        if (needPasswords && IsPlainText(row.password))
            if (const std::string_view fault = FaultOfPassword(row.password); !fault.empty())
                problems.Add({rows.file, row.line, "password", std::nullopt, std::string(fault)});
        users.records.emplace(row.user, UserRecord{row.partCount, row.loginType});
        if (needPasswords) users.routerUsers.push_back({row.user, row.password});
    }
    problems.ThrowIfAny();
    return users;
}

} // namespace quindal
