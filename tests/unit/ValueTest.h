// A fixture holding one object handle and one filter spec handle on the double.
#pragma once

#include <memory>

#include "DoubleTest.h"
#include "core/Handles.h"

class ValueTest : public DoubleTest {
protected:
    void SetUp() override {
        DoubleTest::SetUp();
        object_ = NewHandle<ConfigStoreObjectStruct>(enginedouble::MakeObject("object"), true);
        filter_ = NewHandle<FilterSpecObjectStruct>(
            std::make_shared<KivConfigStore::FilterSpecObject>(
                KivConfigStore::ConfigStoreObjectId("filter", "g", "c", "")),
            true);
    }
    void TearDown() override {
        DestroyConfigStoreObject(object_);
        DestroyFilterSpecObject(filter_);
    }

    ConfigStoreObjectStruct* ObjectHandle() { return object_; }
    FilterSpecObjectStruct* FilterHandle() { return filter_; }
    const void* EngineObjectOf(void* handle) {
        return handle == object_ ? static_cast<const void*>(object_->engineObject.get())
                                 : static_cast<const void*>(filter_->engineObject.get());
    }

private:
    ConfigStoreObjectStruct* object_ = nullptr;
    FilterSpecObjectStruct* filter_ = nullptr;
};
