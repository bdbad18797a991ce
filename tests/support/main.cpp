// Test entry point: every test runs in a fresh temporary directory, because
// the library writes its debug logs and data files to the current one.
#include "support/workdir.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new tvxtest::FreshDirectoryPerTest);
    return RUN_ALL_TESTS();
}
