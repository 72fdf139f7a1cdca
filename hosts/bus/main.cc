#include "hosts/bus/application.h"

int main(int argc, char** argv) { return kelvo::RunApplication(argc, argv); }
