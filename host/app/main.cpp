#include "host/app/command.h"
#include "host/platform/process.h"

int main(int argc, char** argv) {
    salvor::OccupyStandardStreams();
    return salvor::RunCommandLine(argc, argv);
}
