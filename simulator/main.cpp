#include "simulator/simulator.h"

int main(int argc, char** argv) { return RunSimulator(argc, argv); }
