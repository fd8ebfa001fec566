// Nodes that are copied, moved, duplicated and exported.

#include "copy_test.h"

namespace {

TEST_F(CopyTest, NodeLivesOnInItsCopy) {
    const sptr_t<IProject> project = makeProject(at("p"));
    makeResult(at("p/r000"));
    const ResultHandle result = openResult(at("p/r000"));
    ASSERT_TRUE(result->setFlag("mine"));
    ASSERT_TRUE(result->setFlag("other"));
    writeFile(at("p/r000/foreign" + std::string(lockExtension)), "");
    const std::string record = readFile(at("p/r000/mine" + std::string(infoExtension)));
    fs::permissions(at("p/r000"), fs::owner_all);

    ASSERT_TRUE(result->copy(at("far").c_str(), true, nullptr));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(result->getMarkerFilePath(), at("far/far.zentor"));
    EXPECT_EQ(fs::status(at("far")).permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_EQ(entries("p/r000"), (std::vector<std::string>{"foreign.dflgzentor", "r000.zentor"}));
    EXPECT_EQ(readFile(at("far/mine" + std::string(infoExtension))), record);
    EXPECT_EQ(result->ownFlag("mine"), eOK);
    EXPECT_EQ(result->ownFlag("other"), eOK);
    EXPECT_EQ(text(result->getLinkFilePath()), at("p/far.zentorlink")) << "still of the project";
    EXPECT_EQ(openResult(at("far")).get(), result.get());

    ASSERT_TRUE(result->move(at("p/back").c_str(), false, nullptr));
    EXPECT_FALSE(fs::exists(at("far")));
    EXPECT_EQ(result->getMarkerFilePath(), at("p/back/far.zentor"));
    EXPECT_FALSE(fs::exists(at("p/far.zentorlink"))) << "lies in its project again";
    EXPECT_EQ(entries("p/back").size(), 5U);

    ASSERT_TRUE(project->move(at("q/").c_str(), true, nullptr));
    EXPECT_EQ(text(project->getPath()), at("q"));
    EXPECT_EQ(text(project->getNodeGroup()->getPath()), at("q"));
    EXPECT_EQ(text(project->getNodeGroup()->getOutputDirectory()), at("q"));
    EXPECT_EQ(project->getMarkerFilePath(), at("q/q.zentorproj"));

    const struct {
        Text destination;
        vesta2::error_t code;
    } refused[] = {
        {nullptr, eParameterError}, {"", eParameterError},    {"q", eAlreadyExists},
        {"none/below", eFileError}, {"q/itself", eFileError}, {"q/back/deep", eFileError},
    };
    for (const auto& each : refused) {
        const std::string path = each.destination && *each.destination ? at(each.destination) : "";
        EXPECT_FALSE(project->move(each.destination ? path.c_str() : nullptr, true, nullptr));
        EXPECT_EQ(getStatus(), each.code) << path;
    }
    Progress cancelled(0);
    EXPECT_FALSE(project->copy(at("new").c_str(), true, &cancelled));
    EXPECT_EQ(cancelled.starts, 0);
    EXPECT_FALSE(fs::exists(at("new")));
}

TEST_F(CopyTest, ANameThatTheTreeHoldsOtherwiseIsRefusedBeforeCopying) {
    const ResultHandle result = openResult(makeResult(at("r000")));
    writeFile(at("r000/file.zentor"), "f");
    fs::create_directory(at("r000/directory.zentor"));
    fs::create_symlink("nowhere", at("r000/link.zentor"));
    const std::vector<std::string> before = entries("");
    using Make = std::function<bool(const char*)>;
    const Make makers[] = {
        [&](const char* path) { return result->copy(path, true, nullptr); },
        [&](const char* path) { return result->move(path, true, nullptr); },
        [&](const char* path) { return static_cast<bool>(result->duplicate(path)); },
    };
    for (const char* name : {"file", "directory", "link"}) {
        for (const Make& make : makers) {
            EXPECT_FALSE(make(at(name).c_str())) << name;
            EXPECT_EQ(getStatus(), eAlreadyExists);
        }
    }
    EXPECT_EQ(entries(""), before);
    // It follows the directory's unchecked.
    ASSERT_TRUE(result->move(at("a:b").c_str(), true, nullptr));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(result->getMarkerFilePath(), at("a:b/a:b.zentor"));
}

TEST_F(CopyTest, DuplicateIsANodeOfItsOwn) {
    const sptr_t<IProject> project = makeProject(at("p"));
    const ResultHandle result = openResult(makeResult(at("r000")));
    ASSERT_TRUE(result->setParent(at("p").c_str()));
    ASSERT_TRUE(result->isLinked());
    result->setCollectorCommand("run");
    result->save();
    result->setFinalized(true);
    writeFile(at("r000/data.0/1"), "1");
    ASSERT_TRUE(result->setFlag("mine"));

    const auto copy = IResultDirectory::cast(result->duplicate(at("r@@@").c_str()));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getMarkerFilePath(), at("r001/r001.zentor"));
    EXPECT_EQ(entries("r001"),
              (std::vector<std::string>{".norun", "data.0", "data.0/1", "r001.zentor"}));
    EXPECT_STREQ(copy->getCollectorCommand(), "run");
    EXPECT_TRUE(copy->isFinalized());
    EXPECT_FALSE(copy->isLinked());
    EXPECT_FALSE(load(at("r001/r001.zentor")).get_bag("vesta")->has("backlink"));
    EXPECT_TRUE(result->isLinked());
    EXPECT_EQ(result->ownFlag("mine"), eOK);

    writeFile(at("p/notes"), "n");
    const NodeHandle second = project->duplicate(at("q").c_str());
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getMarkerFilePath(), at("q/p.zentorproj")) << "keeps its source's name";
    const sptr_t<IExperiment> experiment = makeExperiment(at("p/e"));
    const NodeHandle third = experiment->duplicate(at("p/f").c_str());
    EXPECT_EQ(text(third->getMarkerFilePath()), at("p/f/e.zentorexp"));
    // What is there already is nobody's copy.
    writeFile(at("full/notes"), "n");
    for (const NodeHandle& node : {NodeHandle(result), NodeHandle(project), third}) {
        EXPECT_FALSE(node->duplicate(at("full").c_str()));
        EXPECT_EQ(getStatus(), eAlreadyExists);
        EXPECT_FALSE(node->duplicate(nullptr));
        EXPECT_FALSE(node->duplicate((std::string(node->getPath()) + "/inside").c_str()));
        EXPECT_FALSE(fs::exists(std::string(node->getPath()) + "/inside"));
    }
    EXPECT_EQ(entries("full"), (std::vector<std::string>{"notes"}));
}

TEST_F(CopyTest, ExportIsAResultWithAMarkerOfItsOwn) {
    const sptr_t<IProject> project = makeProject(at("p"));
    const ResultHandle result = openResult(makeResult(at("r000")));
    ASSERT_TRUE(result->setParent(at("p").c_str()));
    result->setCollectorCommand("run");
    for (const char* name : {"r000/a.csv", "r000/data.0/b.csv", "r000/data.0/c.txt",
                             "r000/x.dflgzentor", "r000/old.zentor"}) {
        writeFile(at(name), "");
    }
    fs::create_symlink(at("p"), at("r000/link"));
    fs::permissions(at("r000"), fs::owner_all);

    const ResultHandle exported = result->exportTo(at("x@@@").c_str(), "\n\n*.csv\n");
    ASSERT_TRUE(exported);
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(exported->getMarkerFilePath(), at("x000/x000.zentor"));
    EXPECT_EQ(fs::status(at("x000")).permissions(), fs::owner_all)
        << "no more open than the source";
    EXPECT_EQ(entries("x000"),
              (std::vector<std::string>{"data.0", "data.0/c.txt", "x.dflgzentor", "x000.zentor"}));
    EXPECT_STREQ(exported->getCollectorCommand(), "run") << "as it is in memory";
    EXPECT_FALSE(exported->isLinked());
    EXPECT_EQ(text(result->getLinkFilePath()), at("p/r000.zentorlink"));
    const std::string patterns = flagFilePatterns()[0] + "\n" + flagFilePatterns()[1];
    ASSERT_TRUE(result->exportTo(at("y").c_str(), patterns.c_str()));
    EXPECT_EQ(entries("y").size(), 5U);

    EXPECT_FALSE(result->exportTo(at("y").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_FALSE(result->exportTo(at("a<b").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eReservedCharacters);
    EXPECT_FALSE(result->exportTo(nullptr, nullptr));
    EXPECT_FALSE(result->exportTo(at("r000/inside").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eInvalidPath);
    EXPECT_FALSE(fs::exists(at("r000/inside")));
}

}  // namespace
