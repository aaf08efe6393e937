// A fixture with an opened store on the double, and engine objects wrapped in handles.
#pragma once

#include <string>
#include <vector>

#include "DoubleTest.h"
#include "core/Handles.h"

class StoreFixture : public DoubleTest {
protected:
    void SetUp() override {
        DoubleTest::SetUp();
        ASSERT_EQ(GetStore(nullptr, &store_), CS_C_OK);
        enginedouble::Reset();
    }
    void TearDown() override {
        for (ConfigStoreObjectStruct* object : objects_) DestroyConfigStoreObject(object);
        DestroyStore(store_);
    }

    // A top-level handle for a new engine object, released by the fixture.
    ConfigStoreObjectStruct* Object(const std::string& key) {
        objects_.push_back(NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject(key), true));
        return objects_.back();
    }

    ConfigStoreStruct* store_ = nullptr;

private:
    std::vector<ConfigStoreObjectStruct*> objects_;
};
