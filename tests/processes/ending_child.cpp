// A process for others to watch: ends with a code after so many milliseconds.
// Usage: ending_child <milliseconds> <exit code>

#include <chrono>
#include <cstdlib>
#include <thread>

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[1])));
    // At once, without what a sanitizer still has to do.
    std::_Exit(std::atoi(argv[2]));
}
