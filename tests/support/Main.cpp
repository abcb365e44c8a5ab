#include "System.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return test::OnOwnMachine([] { return RUN_ALL_TESTS(); });
}
