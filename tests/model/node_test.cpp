// One node: its properties, its marker, and the registry of those that are open.

#include <atomic>

#include "model_test.h"
#include "vesta/model/marker_io.h"

namespace {

using NodeTest = ModelTest;

TEST_F(NodeTest, IsNamedByItsMarkerButAProjectWithTheFixedMarkerByItsDirectory) {
    for (const auto& [marker, name] :
         rows<2>("alpha/config.zentorproj alpha; beta.v2/config.zentorproj beta; "
                 "gamma/other.zentorproj other; delta/config.zentorexp config; r001/r001ab.zentor "
                 "r001ab; r003/a.b\xff.zentor a.b\xff")) {
        writeFile(marker, "<bag v=\"1\"/>");
        const NodeHandle node = lookup(marker);
        ASSERT_TRUE(node) << marker;
        EXPECT_EQ(text(node->getUserVisibleName()), name);
        EXPECT_EQ(node->getCreationTime(), 0);
    }
}

TEST_F(NodeTest, MarkersAreMadeUnderTheNameOfTheirDirectoryAndEditedOnDisk) {
    variant_bag_t bag;
    bag.put_bag("vesta").put("key", "value");
    variant_bag_t edited = bag;
    edited.put_bag("vesta").put("mine", "x");
    fs::create_directory("r000");
    setStatus(eFileLocked);
    EXPECT_EQ(createDefaultMarkerFile(at("r000/"), ".zentor", bag), eOK);
    EXPECT_EQ(createDefaultMarkerFile(at("r000"), "own.zentor", edited), eOK);
    EXPECT_EQ(createDefaultMarkerFile(at("none"), ".zentor", bag), eUnknown);
    EXPECT_EQ(getStatus(), eFileLocked) << "it is told by the result alone";
    // Somebody may have found, and repaired, the new directory before its marker file was there.
    EXPECT_EQ(createDefaultMarkerFile(at("r000"), "first.zentor", {}), eOK);
    EXPECT_EQ(writeFirstMarkerFile(at("r000/first.zentor"), bag), eOK);
    EXPECT_EQ(writeFirstMarkerFile(at("r000/first.zentor"), edited), eAlreadyExists);
    for (const char* marker : {"r000/own.zentor", "r000/r000.zentor", "r000/first.zentor"}) {
        const auto before = stampOf(marker);
        const bool isEdited = load(marker) == edited;
        removeVestaVariableFromMarkerFile(marker, "mine");
        EXPECT_EQ(getStatus(), eOK);
        EXPECT_EQ(load(marker), bag);
        EXPECT_EQ(stampOf(marker) != before, isEdited) << "nothing to remove, nothing to write";
    }
    removeVestaVariableFromMarkerFile("none.zentor", "mine");
    EXPECT_EQ(getStatus(), eUnknown);
}

TEST_F(NodeTest, IsModifiedByItsStorageUntilSavedAndReadAgainOnlyWhenBoundAnew) {
    const std::string marker = makeResult("r000");
    ResultHandle result = openResult(marker);
    Node& node = object(result);
    const auto properties = result->getPropertyStorage();
    const auto transient = result->getTransientStorage();
    node.setRdPropInt("int", -5);
    node.setRdPropLong("long", -(1LL << 40));
    node.setRdPropTime("time", 1L << 33);
    node.setRdPropStr("text", "a\nb\xff");
    EXPECT_STREQ(node.getRdPropStr("int", "no text"), "no text");
    transient->setProperty("vesta/x", 1);
    EXPECT_FALSE(result->isModified()) << "only the property storage counts changes";
    properties->setProperty("more", variant_bag_t());
    EXPECT_TRUE(result->isModified()) << "a bag counts as well";
    EXPECT_FALSE(result->save()) << "true means that it failed";
    EXPECT_FALSE(result->isModified());
    properties->setProperty("vesta/x", 2);
    EXPECT_FALSE(node.setMarkerFilePath("", nullptr));
    EXPECT_TRUE(node.setMarkerFilePath(marker, nullptr));
    EXPECT_EQ(node.getRdPropInt("x", 0), 2) << "it was bound to that already";
    EXPECT_TRUE(node.setMarkerFilePath(makeResult("r001"), nullptr));
    EXPECT_NE(openResult(marker).get(), result.get()) << "the old path no longer leads here";
    EXPECT_TRUE(node.setMarkerFilePath(marker, nullptr));
    EXPECT_EQ(openResult(marker).get(), result.get());
    EXPECT_EQ(node.getRdPropInt("x", 0), 0) << "it was read again";
    EXPECT_EQ(node.getRdPropInt("int", 0), -5);
    EXPECT_EQ(node.getRdPropLong("long", 0), -(1LL << 40));
    EXPECT_EQ(node.getRdPropTime("time", 0), 1L << 33);
    EXPECT_STREQ(node.getRdPropStr("text", ""), "a\nb\xff");
    fs::remove_all("r000");
    EXPECT_EQ(answer(!result->save()), "no unknown");
    result.reset();
    EXPECT_FALSE(properties->hasProperty("vesta/int")) << "storages outlive their node, empty";
    EXPECT_FALSE(properties->setProperty("vesta/x", 1) || transient->hasProperty("vesta/x"));
}

TEST_F(NodeTest, BadMarkerIsOpenedWithoutPropertiesAndSaysSo) {
    writeFile("torn/m.zentor", "<bag v=\"1\"><bag n=\"vesta\"><uint64");
    fs::create_directories("directory/m.zentor");
    for (const std::string place : {"torn", "directory"}) {
        const NodeHandle node = lookup(place + "/m.zentor");
        ASSERT_EQ(answer(node), place + " unknown") << "and not missing";
        EXPECT_TRUE(node->getPropertyStorage()->getBag()->empty());
    }
    const ResultHandle torn = openResult("torn/m.zentor");
    torn->setCollectorCommand("app");
    EXPECT_FALSE(torn->save()) << "a save mends it";
    EXPECT_EQ(load("torn/m.zentor").get_bag("vesta")->get_variant("collectionCommand"), "app");
}

TEST_F(NodeTest, RegistryCountsWhatIsMadeAndForgetsWhenTold) {
    Node::reset();
    play("result r000 r001; hold first r000; hold second r001");
    const NodeHandle node = m_held["first"];
    EXPECT_EQ(node->add_ref() + node->release(), 5U);
    EXPECT_FALSE(lookup("r002/r002.zentor") || lookup(""));
    EXPECT_EQ(Node::uid(m_held["second"]), Node::nodeCount()) << "of all made, not those alive";
    EXPECT_EQ(Node::handleCount(), 2U);
    Node::reset();
    EXPECT_EQ(Node::nodeCount() + Node::handleCount() + Node::uid({}), 0U);
    EXPECT_NE(lookup("r000/r000.zentor"), node);
    std::string key = at("r001/r001.zentor");
    const NodeHandle fresh = lookup(key);
    EXPECT_TRUE(Node::eraseFromMap(key));
    EXPECT_FALSE(Node::eraseFromMap(key));
}

TEST_F(NodeTest, RemoveOnCloseActsAtTheLastReleaseUnlessTakenBack) {
    for (const std::string way : {"set", "saved", "unset"}) {
        NodeHandle node = lookup(makeResult(way));
        NodeHandle copy = node;
        node->setRemoveOnClose(true);
        way == "saved" ? void(node->save()) : node->setRemoveOnClose(way == "set");
        node.reset();
        EXPECT_TRUE(fs::exists(way)) << way;
        copy.reset();
        EXPECT_EQ(fs::exists(way), way != "set") << way;
    }
}

TEST_F(NodeTest, ProjectRemovedOnCloseTakesItsNodesWithItAndIsNotFoundMeanwhile) {
    auto project = makeProject("p", true);
    play(R"(result p/r000 far/r001; add p far/r001; experiment p/e; result p/e/r002)");
    const unsigned made = Node::nodeCount();
    project.reset();
    EXPECT_EQ(entries("."), "far") << "a linked node goes where it is stored";
    EXPECT_EQ(Node::nodeCount(), made + 4)
        << "its four nodes, and no second object for the project";
    project = makeProject("q", true);
    play("result q/r000; hold child q/r000");
    project.reset();
    EXPECT_TRUE(fs::exists("q/r000")) << "the child holds its project";
    m_held.clear();
    EXPECT_FALSE(fs::exists("q"));
}

TEST_F(NodeTest, NodeThatIsDeletedIsFoundWholeOrNotAtAll) {
    std::atomic<bool> done{false};
    runThreads(4, [&](unsigned role) {
        for (int round = 0; role == 0 && round < 60; ++round) {
            try {
                const auto project = makeProject("p", true);
                makeResult("p/r000");
            } catch (const fs::filesystem_error&) {
                // A finder had the last handle, and deletes what is just being made.
            }
        }
        done = done || role == 0;
        while (!done) {
            const NodeHandle node = lookup("p/p.zentorproj");
            EXPECT_EQ(node ? node->getPath() : at("p"), at("p"));
        }
    });
}

}  // namespace
