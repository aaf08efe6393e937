// The engine interface as compiled: table slots and enumeration values. Object layout is fixed by
// the engine headers' own static_asserts.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include <kivconfigstore/ConfigStore.h>

namespace {

using namespace KivConfigStore;

static_assert(EXTERNAL == 0 && INTERNAL == 1, "the context crosses the interface as a number");

// The table slot of a virtual member function, read from its pointer-to-member representation
// (Arm keeps the virtual flag in the adjustment, the others in the pointer).
template <class Member>
std::ptrdiff_t SlotOf(Member member) {
    struct {
        std::uintptr_t pointer;
        std::ptrdiff_t adjustment;
    } rep;
    static_assert(sizeof(Member) == sizeof rep, "Itanium member function pointer");
    std::memcpy(&rep, &member, sizeof rep);
#if defined(__arm__) || defined(__aarch64__)
    EXPECT_EQ(rep.adjustment & 1, 1) << "not virtual";
    return static_cast<std::ptrdiff_t>(rep.pointer / sizeof(void*));
#else
    EXPECT_EQ(rep.pointer & 1, 1u) << "not virtual";
    return static_cast<std::ptrdiff_t>((rep.pointer - 1) / sizeof(void*));
#endif
}

TEST(EngineAbi, OperationsSitInTheirTableSlots) {
    const std::ptrdiff_t store[] = {SlotOf(&ConfigStore::Get),
                                    SlotOf(&ConfigStore::GetDefaultConfig),
                                    SlotOf(&ConfigStore::GetDefaultConfigInstances),
                                    SlotOf(&ConfigStore::Set),
                                    SlotOf(&ConfigStore::SetUserData),
                                    SlotOf(&ConfigStore::SetVitalData),
                                    SlotOf(&ConfigStore::SetCachedData),
                                    SlotOf(&ConfigStore::Update),
                                    SlotOf(&ConfigStore::Delete),
                                    SlotOf(&ConfigStore::DeleteInstances),
                                    SlotOf(&ConfigStore::GetInstances),
                                    SlotOf(&ConfigStore::SetInstances),
                                    SlotOf(&ConfigStore::SetUserDataInstances),
                                    SlotOf(&ConfigStore::SetCachedDataInstances),
                                    SlotOf(&ConfigStore::SetVitalDataInstances),
                                    SlotOf(&ConfigStore::BeginTransaction),
                                    SlotOf(&ConfigStore::CommitTransaction),
                                    SlotOf(&ConfigStore::CancelTransaction)};
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t(std::size(store)); ++i) EXPECT_EQ(store[i], i);
    EXPECT_EQ(SlotOf(&BaseObject::GetJsonDocPtr), 0);
    EXPECT_EQ(SlotOf(&BaseObject::GetValuePtr), 1);
    EXPECT_EQ(SlotOf(&BaseObject::GetValuePtrDefault), 2);
}

}  // namespace
