// Runs the tests as the program runs: a server that goes away is an error, and no reason to be
// killed.
#include "platform/posix/BrokenPipes.h"

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    lentora::posix::ignoreBrokenPipes();
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
