#include "TestRegistry.h"

int main(int argc, char **argv)
{
    return TestRegistry::run(argc, argv);
}
