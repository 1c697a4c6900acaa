#include "cli/CommandLine.hpp"

int main(int argc, char** argv) { return varnolex::runCommandLine(argc, argv); }
