// A fresh simulator for every test of the test bed itself.
#pragma once

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "testbed/Simulator.h"

class TestbedTest : public ::testing::Test {
protected:
    void SetUp() override { sim().reset(); }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }
};

// A simulator whose X-Plane folder is a scratch folder, for tests that load
// the real plug-in; a plug-in still loaded at the end is unloaded.
class PluginTestbedTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        sim().setRootFolder(root.path());
    }
    void TearDown() override {
        if (sim().isPluginLoaded()) {
            sim().unloadPlugin();
        }
    }
    quelby_test::ScratchFolder root{"quelby-testbed-root"};
};
