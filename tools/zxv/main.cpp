#include <cstdio>

int main() {
  std::fprintf(stderr, "zxv: not built yet\n");
  return 2;
}
