// SPDX-License-Identifier: Apache-2.0

// What the compilers, the C library and the generated stubs of a platform decide. Touches no file, no
// property and no other process, so it may run on a device in use as well as in the box.

#include <gtest/gtest.h>
#include <stddef.h>

#include "callbacks/ZulAidlCallBack.h"

namespace zul::test {
namespace {

TEST(DeviceTest, RowIsSixStringsWithNothingBetween) {
    RowData row;
    const std::string* const fields[] = {&row.tagId,     &row.flag,      &row.cmd,
                                         &row.extraInfo, &row.eventType, &row.eventSubType};
    for (size_t i = 0; i < std::size(fields); i++)
        EXPECT_EQ(fields[i], fields[0] + i);
    EXPECT_EQ(sizeof(row), std::size(fields) * sizeof(std::string));
}

TEST(DeviceTest, StubsAreOfTheFrozenVersion) {
    const auto adapter = ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService());
    int32_t version = 0;
    std::string hash;
    EXPECT_TRUE(adapter->getInterfaceVersion(&version).isOk());
    EXPECT_TRUE(adapter->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(version, 1);
    EXPECT_EQ(hash, "ce8cabb4c60d35a3ab43972eac4b5599a2a10eed");
}

}  // namespace
}  // namespace zul::test
