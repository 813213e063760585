#include "Library.h"
