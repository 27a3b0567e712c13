// BraskCollateralChecker: the code that a participant's level reports when its free money runs short, and whether that
// is checked. The host asks it before it hands a deal in: a deal that was made is booked whatever money is left.
#pragma once

#include <string>

#include "Means.h"
#include "currencytype.h"
#include "kv7errors.h"

class BraskCollateralChecker
{
public:
    BraskCollateralChecker(Z9ERR errorCode, bool checksEnabled) noexcept
        : errorCode_(errorCode), checksEnabled_(checksEnabled)
    {}
    BraskCollateralChecker(const BraskCollateralChecker&) = delete;
    BraskCollateralChecker& operator=(const BraskCollateralChecker&) = delete;

    /// Checks whether the free money of a participant bears a further need of `money`. If it does not, returns the
    /// level's code and appends "<what runs short>: free 12.34, needed 20.00" to the text, behind what the caller has
    /// said of the participant. If it does, or nobody checks, returns 0 and leaves the text. A need of 0 or less asks
    /// whether there is no deficit, or none beyond what such a release covers.
    [[nodiscard]] Z9ERR CheckCollateral(const Domain::Means& means, t_bround_int money, std::string& text) const;

    [[nodiscard]] Z9ERR GetErrorCode() const noexcept { return errorCode_; }
    /// What runs short, as the code describes it; valid until the process ends.
    [[nodiscard]] const char* GetErrorCodeText() const noexcept;
    [[nodiscard]] bool Enabled() const noexcept { return checksEnabled_; }
    void Enable(bool enabled) noexcept { checksEnabled_ = enabled; }

private:
    const Z9ERR errorCode_;
    bool checksEnabled_;
};
