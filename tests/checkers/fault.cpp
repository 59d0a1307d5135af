// Does one thing wrong, to see that whoever is to find such things is awake:
//   fault leak | overrun | overflow | race | uninitialised
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

// Behind volatile pointers, so that no compiler sees what is coming.
char *volatile place;
volatile int shared = 1;

int main(int, char **argv) {
  const std::string fault = argv[1];
  place = static_cast<char *>(malloc(8));
  if (fault == "leak") {
    place = nullptr;
    return 0;
  }
  if (fault == "overrun") place[8] = 'x';
  if (fault == "uninitialised" && place[7] == 'x') puts("by chance");
  if (fault == "overflow") shared = shared + INT_MAX;
  if (fault == "race") {
    std::thread other([] { shared = 2; });
    shared = 3;
    other.join();
  }
  free(place);
}
