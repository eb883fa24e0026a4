#include "qvmesh/Program.h"

int main(int argc, char** argv) { return qvmesh::runProgram(argc, argv); }
