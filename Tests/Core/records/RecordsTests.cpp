#include "Core/records/Records.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace quorvel;

TEST(Records, opens) {
    test::TemporaryFolder folder;
    auto c = ModelContainer::open(folder.path(), systemClock());
    WorkspaceRecords w(c, systemClock());
    auto x = w.create(" Games ");
    EXPECT_EQ(w.find(x.id), x);
    AppRecords a(c, systemClock());
    auto app = a.add({.slug = "a", .displayName = "A", .protectedTerms = {"x"}, .glossary = {{"a", {{"b", "c"}}}}, .workspace = x.id});
    EXPECT_EQ(a.find(app.id), app);
    w.remove(x.id);
    EXPECT_EQ(a.find(app.id)->workspace, std::nullopt);
}
