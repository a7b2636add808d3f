#pragma once

#include <LinxServerNameList.h>

#include <string>

/// The name under which the subtitle service is registered for messaging.
///
/// The process is given by its value: the enumerators' names differ between SDKs.
inline const std::string& RegisteredName()
{
    return LinxServerNameList::Instance().Name(static_cast<e_Process>(5));
}
