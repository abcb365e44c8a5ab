// A network device with a text of its own in every member.
#pragma once

#include "TestSupport.h"
#include "XmlParsedDeviceList.h"

namespace test
{

inline scankelv::XmlParsedDeviceList SampleDevice()
{
    const Wide location = ToWide("K\xC3\xB6ln \xF0\x9F\x96\xA8");
    // clang-format off
    return {OLESTR("10.0.0.7"), true, OLESTR("2 < 3 & \"4\""), OLESTR("Network"), OLESTR("MFG:Quellon;MDL:TARN 110;"),
            OLESTR("Hall"), OLESTR("10.0.0.7:80"), OLESTR("ext 1"), OLESTR("hall.example"), true, location.c_str(),
            OLESTR("02-00-00-00-00-07"), OLESTR("TARN 110"), OLESTR("0xFFFFFFFF"), OLESTR("QP_10"), OLESTR("TARN Scan"),
            OLESTR("USBSCAN1"), OLESTR("SN1"), true, OLESTR("qlscan0"), true, OLESTR("Desk"), OLESTR("Quellon"),
            OLESTR("1a2B")};
    // clang-format on
}

} // namespace test
