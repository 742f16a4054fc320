// Network handlers.
#include <gtest/gtest.h>

#include "fake_platform.h"
