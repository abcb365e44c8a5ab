// A search library whose every function throws; with NO_FUNCTIONS it has none.
#ifndef NO_FUNCTIONS
#define THROWS(name)                                                                                                   \
    extern "C" __declspec(dllexport) unsigned name()                                                                   \
    {                                                                                                                  \
        throw 1;                                                                                                       \
    }
THROWS(GetDeviceList_LCode)
THROWS(GetDeviceInformation)
THROWS(FreeDeviceList)
#endif
