#include "Script.h"

std::map<std::string, test::Function, std::less<>> test::SystemFunctions()
{
    return {};
}
