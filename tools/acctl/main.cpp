// acctl - command-line client of the controller's control socket.
#include "session.h"

int main(int argc, char** argv)
{
    return acctl::run_line(argc, argv);
}
