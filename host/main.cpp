#include "commands.h"

int main(int argc, char** argv) { return salvor::RunCommandLine(argc, argv); }
