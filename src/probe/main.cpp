#include "probe/program.hpp"

int main(int argument_count, char** arguments) {
  return kavu_probe::run_program(argument_count, arguments);
}
