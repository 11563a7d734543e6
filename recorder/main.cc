// vam-record: runs a program and records its platform calls.

#include "recorder/record_command.h"

int main(int /*argc*/, char** argv) { return VamRecord(argv); }
