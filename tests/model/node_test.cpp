#include <ctime>

#include "model_test.h"

namespace {

class NodeTest : public ModelTest {};

TEST_F(NodeTest, IsNamedByItsMarkerButAProjectWithTheFixedMarkerByItsDirectory) {
    for (const auto& [marker, name, none] :
         rows("alpha/config.zentorproj alpha; beta.v2/config.zentorproj beta; "
              "gamma/other.zentorproj other; delta/config.zentorexp config; r001/r001ab.zentor "
              "r001ab; "
              "r003/a.b\xff.zentor a.b\xff")) {
        writeFile(at(marker), "<bag v=\"1\"/>");
        const NodeHandle node = lookup(at(marker));
        ASSERT_TRUE(node) << marker;
        EXPECT_EQ(text(node->getUserVisibleName()), name);
        EXPECT_EQ(node->getPath(), fs::path(at(marker)).parent_path());
        EXPECT_EQ(node->getCreationTime(), 0);
    }
}

TEST_F(NodeTest, DefaultMarkerTakesTheNameOfItsDirectory) {
    variant_bag_t bag;
    bag.put_bag("vesta").put("key", "value");
    fs::create_directory(at("r000"));
    setStatus(eFileLocked);
    EXPECT_EQ(createDefaultMarkerFile(at("r000/"), ".zentor", bag), eOK);
    EXPECT_EQ(createDefaultMarkerFile(at("r000"), "own.zentor", bag), eOK);
    EXPECT_EQ(createDefaultMarkerFile(at("none"), ".zentor", bag), eUnknown);
    EXPECT_EQ(getStatus(), eFileLocked);
    EXPECT_EQ(load(at("r000/r000.zentor")), load(at("r000/own.zentor")));
}

TEST_F(NodeTest, PropertiesKeepTheirKindsAndDefaults) {
    const std::string marker = makeResult(at("r000"));
    {
        const ResultHandle result = openResult(marker);
        Node& node = object(result);
        EXPECT_STREQ(node.getRdPropStr("missing", "d"), "d");
        EXPECT_EQ(node.getRdPropInt("missing", 7), 7);
        node.setRdPropInt("int", -5);
        node.setRdPropLong("long", -(1LL << 40));
        node.setRdPropTime("time", 1L << 33);
        node.setRdPropStr("text", "a\nb\xff");
        EXPECT_STREQ(node.getRdPropStr("int", "no text"), "no text");
        EXPECT_FALSE(node.isModified()) << "only the storage counts changes";
        EXPECT_FALSE(result->save());
    }
    using kind_t = basekit2::variant_t::kind_t;
    const variant_bag_t saved = load(marker);
    for (const auto& [key, kind] : Rows<Text, kind_t>{
             {"int", kind_t::int32}, {"long", kind_t::int64}, {"time", kind_t::uint64}}) {
        EXPECT_EQ(saved.get_bag("vesta")->get_variant(key).kind(), kind) << key;
    }
    const ResultHandle result = openResult(marker);
    EXPECT_EQ(object(result).getRdPropInt("int", 0), -5);
    EXPECT_EQ(object(result).getRdPropLong("long", 0), -(1LL << 40));
    EXPECT_EQ(object(result).getRdPropTime("time", 0), 1L << 33);
    EXPECT_STREQ(object(result).getRdPropStr("text", ""), "a\nb\xff");
}

TEST_F(NodeTest, IsModifiedByItsStorageAloneUntilSaved) {
    ResultHandle result = openResult(makeResult(at("r000")));
    const auto properties = result->getPropertyStorage();
    const auto transient = result->getTransientStorage();
    transient->setProperty("vesta/x", 1);
    EXPECT_FALSE(result->isModified());
    properties->setProperty("vesta/x", 2);
    EXPECT_TRUE(result->isModified());
    EXPECT_FALSE(result->save()) << "true means that it failed";
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_FALSE(result->isModified());
    EXPECT_EQ(load(result->getMarkerFilePath()).get_bag("vesta")->get_variant("x"), 2);
    properties->setProperty("more", variant_bag_t());
    EXPECT_TRUE(result->isModified()) << "a bag counts as well";
    fs::remove_all(at("r000"));
    EXPECT_TRUE(result->save());
    EXPECT_EQ(getStatus(), eUnknown);

    result.reset();
    EXPECT_FALSE(properties->hasProperty("vesta/x")) << "the storages outlive their node, empty";
    EXPECT_FALSE(properties->setProperty("vesta/x", 1));
    EXPECT_FALSE(transient->hasProperty("vesta/x"));
}

TEST_F(NodeTest, BindingReadsTheMarkerAgainUnlessItIsTheSame) {
    const std::string first = makeResult(at("r000"));
    const std::string second = makeResult(at("r001"));
    const ResultHandle result = openResult(first);
    Node& node = object(result);
    node.setRdPropInt("unsaved", 1);
    edit(first, "saved", "yes");
    setStatus(eFileLocked);
    EXPECT_FALSE(node.setMarkerFilePath("", nullptr));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_TRUE(node.setMarkerFilePath(first, nullptr));
    EXPECT_EQ(node.getRdPropInt("unsaved", 0), 1);
    EXPECT_STREQ(node.getRdPropStr("saved", "no"), "no");
    EXPECT_TRUE(node.setMarkerFilePath(second, nullptr));
    EXPECT_EQ(node.getPath(), at("r001"));
    EXPECT_NE(openResult(first).get(), result.get()) << "the old path no longer leads here";
    EXPECT_EQ(openResult(second).get(), result.get());
    EXPECT_TRUE(node.setMarkerFilePath(first, nullptr));
    EXPECT_EQ(node.getRdPropInt("unsaved", 0), 0);
    EXPECT_STREQ(node.getRdPropStr("saved", "no"), "yes");
}

TEST_F(NodeTest, PropertyIsRemovedFromAMarkerOnDisk) {
    const std::string marker = makeResult(at("r000"));
    edit(marker, "mine", "x");
    removeVestaVariableFromMarkerFile(marker.c_str(), "mine");
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_FALSE(load(marker).get_bag("vesta")->has("mine"));
    EXPECT_TRUE(load(marker).get_bag("vesta")->has("timestamp"));
    const auto stamp = stampOf(marker);
    removeVestaVariableFromMarkerFile(marker.c_str(), "mine");
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(stampOf(marker), stamp) << "nothing to remove, nothing to write";
    removeVestaVariableFromMarkerFile(at("none.zentor").c_str(), "mine");
    EXPECT_EQ(getStatus(), eUnknown);
}

TEST_F(NodeTest, BadMarkerIsOpenedWithoutPropertiesAndSaysSo) {
    using Make = std::function<void(const std::string&)>;
    const auto deep = [](const std::string& path) {
        std::string levels = "<bag v=\"1\">";
        for (int i = 0; i < 100'000; ++i) {
            levels += "<bag n=\"vesta\">";
        }
        writeFile(path, levels);
    };
    const auto huge = [](const std::string& path) {
        writeFile(path, "<bag v=\"1\">");
        fs::resize_file(path, (64ULL << 20) + 1);
    };
    const Rows<Text, Make> cases = {
        {"empty", [](auto& path) { writeFile(path, ""); }},
        {"torn",
         [](auto& path) { writeFile(path, "<bag v=\"1\"><bag n=\"vesta\"><uint64 n=\"ti"); }},
        {"binary", [](auto& path) { writeFile(path, std::string(5000, '\xfe')); }},
        {"deep", deep},
        {"huge", huge},
        {"directory", [](auto& path) { fs::create_directory(path); }},
        {"fifo", [](auto& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }}};
    ::alarm(20);  // ends the test if a marker is waited for
    for (const char* extension : {".zentor", ".zentorproj"}) {
        for (const auto& [what, make] : cases) {
            SCOPED_TRACE(what + std::string(extension));
            const std::string marker = at(what + std::string(extension) + "/m" + extension);
            fs::create_directories(fs::path(marker).parent_path());
            make(marker);
            const NodeHandle node = lookup(marker);
            EXPECT_EQ(getStatus(), eUnknown);
            ASSERT_TRUE(node);
            EXPECT_TRUE(node->getPropertyStorage()->getBag()->empty());
            EXPECT_FALSE(node->isMissing());
            EXPECT_EQ(lookup(marker).get(), node.get());
        }
    }
    ::alarm(0);
    const ResultHandle torn = openResult(at("torn.zentor/m.zentor"));
    torn->setCollectorCommand("app");
    EXPECT_FALSE(torn->save()) << "a save mends it";
    EXPECT_STREQ(openResult(at("torn.zentor"))->getCollectorCommand(), "app");
}

}  // namespace
