// wtpmasterd - the central daemon of the wireless access controller. It takes no arguments.
#include "main/wtp_main.h"
#include "platform/ac_platform.h"

int main(int /*argc*/, char** /*argv*/)
{
    platform_init();
    return wtp_main();
}
