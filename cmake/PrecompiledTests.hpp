#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Precompiled.hpp"
