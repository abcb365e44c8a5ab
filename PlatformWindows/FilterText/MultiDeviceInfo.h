// PlatformWindows/FilterText: the texts that are passed to the search library, namely the filter text with its device
// lists, and the port data.
#pragma once

#include "BstrText.h"

namespace scankelv
{

/// One device of the multi-select records.
struct parsedMultiDeviceInfo
{
    _bstr_t deviceid;
    _bstr_t devicename;
    _bstr_t devicepath;
    _bstr_t drivername;
    _bstr_t ext;
    _bstr_t hostname;
    _bstr_t iotype;
    _bstr_t ipaddress;
    _bstr_t ipv6address;
    bool isDefault = false;
    bool isIpv6 = false;
    _bstr_t location;
    _bstr_t macaddress;
    _bstr_t modelname;
    _bstr_t pid;
    _bstr_t port;
    _bstr_t printername;
    _bstr_t productname;
    _bstr_t systemdevicename;
    _bstr_t vendor;
    _bstr_t vid;
};

} // namespace scankelv
