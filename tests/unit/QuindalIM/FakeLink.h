// FakeLink: the link to the exchange as a test plays it. FakeLink.cpp stands in for the real client when a test program
// is linked, so that the exported functions run whole without a router or a server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CalcGOEx.h"
#include "kv7errors.h"

struct FakeLink
{
    // What each step answers.
    bool startup = true;
    bool connect = true;
    bool login = true;
    bool userInfo = true;
    bool ping = true;
    bool download = true;
    std::int32_t partCount = 1000;                              // what the user information says
    std::function<void(QuindalIM::CCalcGOEx&)> onDownload = {}; // fills the calculator
    std::string errorText = "the test says so";                 // of a step that fails
    Z9ERR errorCode = Z9ERR_NOT_OK;

    // What was asked.
    std::vector<std::string> steps; // names, in order
    std::uint16_t port = 0;
    std::uint32_t timeout = 0;
    std::string xmlPath;
    std::size_t maxReplyBytes = 0;
    std::string user;
    std::string password;
    std::optional<std::string> datetime; // of the last download, empty for null
};

/// The link of this process.
FakeLink& TheLink();
