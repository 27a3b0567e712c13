#include "replica/CollateralChecker.h"

Z9ERR BraskCollateralChecker::CheckCollateral(const Domain::Means& means, t_bround_int money, std::string& text) const
{
    const t_bround_int free = means.GetFreeMoney();
    if (!checksEnabled_ || free >= money) return Z9ERR_OK;
    text += std::string(GetErrorCodeText()) + ": free " + free.AsString() + ", needed " + money.AsString();
    return errorCode_;
}

const char* BraskCollateralChecker::GetErrorCodeText() const noexcept { return Kv7ErrGetDescrStr(errorCode_); }
