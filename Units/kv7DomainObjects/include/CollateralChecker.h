// BraskCollateralChecker: which code a participant's level reports when its free money runs short, and whether that is
// looked at.
#pragma once

#include "kv7errors.h"

class BraskCollateralChecker
{
public:
    BraskCollateralChecker(Z9ERR errorCode, bool checksEnabled) noexcept
        : errorCode_(errorCode), checksEnabled_(checksEnabled)
    {}
    BraskCollateralChecker(const BraskCollateralChecker&) = delete;
    BraskCollateralChecker& operator=(const BraskCollateralChecker&) = delete;

    [[nodiscard]] Z9ERR GetErrorCode() const noexcept { return errorCode_; }
    [[nodiscard]] bool Enabled() const noexcept { return checksEnabled_; }
    void Enable(bool enabled) noexcept { checksEnabled_ = enabled; }

private:
    const Z9ERR errorCode_;
    bool checksEnabled_;
};
