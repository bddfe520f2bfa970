#include "ctl/Commands.h"

int main(int argc, char** argv) { return ctl::Main(argc, argv); }
