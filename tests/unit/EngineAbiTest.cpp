// The engine interface as compiled: table slots, enumeration storage and object layout.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include <kivconfigstore/ConfigStore.h>

namespace {

using namespace KivConfigStore;

// The table slot of a virtual member function, read from its pointer-to-member representation.
template <class Member>
std::ptrdiff_t SlotOf(Member member) {
    struct Representation {
        std::uintptr_t pointer;
        std::ptrdiff_t adjustment;
    } rep;
    static_assert(sizeof(Member) == sizeof(Representation), "Itanium member function pointer");
    std::memcpy(&rep, &member, sizeof rep);
#if defined(__arm__) || defined(__aarch64__)
    // Arm keeps the virtual flag in the adjustment and the table offset in the pointer.
    EXPECT_EQ(rep.adjustment & 1, 1) << "not virtual";
    return static_cast<std::ptrdiff_t>(rep.pointer / sizeof(void*));
#else
    EXPECT_EQ(rep.pointer & 1, 1u) << "not virtual";
    return static_cast<std::ptrdiff_t>((rep.pointer - 1) / sizeof(void*));
#endif
}

TEST(EngineAbi, StoreOperationsSitInTheirSlots) {
    EXPECT_EQ(SlotOf(&ConfigStore::Get), 0);
    EXPECT_EQ(SlotOf(&ConfigStore::GetDefaultConfig), 1);
    EXPECT_EQ(SlotOf(&ConfigStore::GetDefaultConfigInstances), 2);
    EXPECT_EQ(SlotOf(&ConfigStore::Set), 3);
    EXPECT_EQ(SlotOf(&ConfigStore::SetUserData), 4);
    EXPECT_EQ(SlotOf(&ConfigStore::SetVitalData), 5);
    EXPECT_EQ(SlotOf(&ConfigStore::SetCachedData), 6);
    EXPECT_EQ(SlotOf(&ConfigStore::Update), 7);
    EXPECT_EQ(SlotOf(&ConfigStore::Delete), 8);
    EXPECT_EQ(SlotOf(&ConfigStore::DeleteInstances), 9);
    EXPECT_EQ(SlotOf(&ConfigStore::GetInstances), 10);
    EXPECT_EQ(SlotOf(&ConfigStore::SetInstances), 11);
    EXPECT_EQ(SlotOf(&ConfigStore::SetUserDataInstances), 12);
    EXPECT_EQ(SlotOf(&ConfigStore::SetCachedDataInstances), 13);
    EXPECT_EQ(SlotOf(&ConfigStore::SetVitalDataInstances), 14);
    EXPECT_EQ(SlotOf(&ConfigStore::BeginTransaction), 15);
    EXPECT_EQ(SlotOf(&ConfigStore::CommitTransaction), 16);
    EXPECT_EQ(SlotOf(&ConfigStore::CancelTransaction), 17);
}

TEST(EngineAbi, ObjectTableHasTheThreeViewsInOrder) {
    EXPECT_EQ(SlotOf(&BaseObject::GetJsonDocPtr), 0);
    EXPECT_EQ(SlotOf(&BaseObject::GetValuePtr), 1);
    EXPECT_EQ(SlotOf(&BaseObject::GetValuePtrDefault), 2);
}

TEST(EngineAbi, ContextIsA32BitEnumeration) {
    EXPECT_EQ(sizeof(USERDATA_CONTEXT), 4u);
    EXPECT_EQ(EXTERNAL, 0);
    EXPECT_EQ(INTERNAL, 1);
}

// Value functions reach the engine object of either handle as a WritableObject at its start.
TEST(EngineAbi, FilterSpecNeedsNoAdjustment) {
    auto filter = std::make_shared<FilterSpecObject>(ConfigStoreObjectId("k", "g", "c", ""));
    const void* address = filter.get();
    EXPECT_EQ(static_cast<const void*>(static_cast<WritableObject*>(filter.get())), address);
    EXPECT_EQ(static_cast<const void*>(static_cast<BaseObject*>(filter.get())), address);
    EXPECT_EQ(filter->shared_from_this().get(), static_cast<BaseObject*>(filter.get()));
#if defined(__LP64__)
    const auto* bytes = reinterpret_cast<const char*>(filter.get());
    EXPECT_EQ(reinterpret_cast<const char*>(&filter->objectId) - bytes, 24);
#endif
}

}  // namespace
