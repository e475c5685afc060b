// A fresh simulator for every test of the test bed itself.
#pragma once

#include <gtest/gtest.h>

#include "testbed/Simulator.h"

class TestbedTest : public ::testing::Test {
protected:
    void SetUp() override { sim().reset(); }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }
};
