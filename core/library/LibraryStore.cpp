#include "LibraryStore.h"
