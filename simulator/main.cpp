#include "simulator/simulator.h"

int main(int argc, char** argv) { return sim::RunSimulator(argc, argv); }
