// Messages of the exchange that change the limit of a firm or of a settlement account, with the amount as a number or
// as a text.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"

struct MSChangeBFLimitInt
{
    Enums::ChangeMoneyMode Mode = Enums::ChangeMoneyMode::Set;
    bool Flag = false;       // the amount counts: without it Set and ChangeBy leave the money as it is
    std::int64_t Amount = 0; // cents
};

/// A change of money alone: the modes are Set and ChangeBy, and the amount always counts.
struct MSChangeBFLimitNTA
{
    Enums::ChangeMoneyMode Mode = Enums::ChangeMoneyMode::Set;
    std::string Amount; // "12345.67": a plain decimal, at most two digits behind the point
};
