#include "LibraryCodec.h"
