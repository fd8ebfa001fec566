#include <numeric>

#include "model_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class GroupsTest : public ModelTest {
protected:
    sptr_t<INodeGroup> group(const std::string& name) const {
        return INodeGroup::open(at(name).c_str());
    }

    /// The file names of the nodes that an iterator yields.
    static std::vector<std::string> names(const sptr_t<IPathIterator>& paths) {
        std::vector<std::string> found;
        while (const char* path = paths->next()) {
            found.push_back(fs::path(path).filename().native());
        }
        EXPECT_EQ(paths->getSize(), found.size());
        return found;
    }
    static std::vector<std::string> names(basekit2::generic_iterator_t<NodeHandle> nodes) {
        std::vector<std::string> found;
        for (; !nodes.at_end(); nodes.next()) {
            const NodeHandle node = nodes.current();
            found.push_back(node ? text(node->getUserVisibleName()) : "(none)");
        }
        return found;
    }
    std::vector<std::string> entries(const char* name) const {
        return names(group(name)->getNodePaths());
    }
};

TEST_F(GroupsTest, AreOpenedOnProjectsExperimentsAndPlainDirectories) {
    makeProject(at("p"));
    makeExperiment(at("p/e"));
    makeResult(at("p/r000"));
    writeFile(at("file"), "");
    // The path, and the group's node: none for a group that stands alone.
    for (const auto& [path, owner, none] :
         rows("p p; p/ p; p/./e p/e; p/e/e.zentorexp p/e; p/r000 -; . -")) {
        const auto opened = group(path);
        ASSERT_TRUE(opened) << path;
        const NodeHandle node = opened->getNode();
        EXPECT_EQ(node ? node->getPath() : "", owner.empty() ? "" : at(owner)) << path;
    }
    for (const char* path : {"none", "file", "p/r000/r000.zentor"}) {
        EXPECT_FALSE(group(path)) << path;
    }

    const auto held = group("p");
    EXPECT_EQ(Node::handleCount(), 1U) << "its group keeps the project open";
    EXPECT_FALSE(openResult(at("p/r000"))->getNodeGroup());
}

TEST_F(GroupsTest, TakeTheKindsThatGoThere) {
    makeProject(at("p"));
    makeProject(at("other"));
    makeExperiment(at("e"));
    makeExperiment(at("f"));
    makeResult(at("r000"));
    fs::create_directory(at("plain"));
    for (const auto& [into, what, taken] : rows("p other; e other; e f; plain r000; p plain; p "
                                                "none; p f yes; e r000 yes; p r000 yes")) {
        const NodeHandle node = group(into)->addNode(at(what).c_str());
        EXPECT_EQ(static_cast<bool>(node), taken == "yes") << what << " into " << into;
        if (node) {
            EXPECT_EQ(text(node->getParent()->getPath()), at(into));
        }
    }
    EXPECT_THAT(entries("p"), ElementsAre("f.zentorexplink", "r000.zentorlink"));
    EXPECT_THAT(entries("e"), IsEmpty()) << "its link moved on with the node";
    EXPECT_FALSE(group("p")->addNode(nullptr));
}

TEST_F(GroupsTest, ListTheirNodesInNameOrder) {
    makeProject(at("p"));
    EXPECT_TRUE(group("p")->isEmpty());
    for (const char* name : {"p/r001", "p/r000", "far/r002", "p/s000"}) {
        makeResult(at(name));
    }
    makeExperiment(at("p/e"));
    makeProject(at("p/q"));
    writeFile(at("p/r003.txt"), "");
    fs::create_directory(at("p/r004"));
    ASSERT_TRUE(group("p")->addNode(at("far/r002").c_str()));
    EXPECT_FALSE(group("p")->isEmpty());
    EXPECT_THAT(entries("p"), ElementsAre("e.zentorexp", "q.zentorproj", "r000.zentor",
                                          "r001.zentor", "r002.zentorlink", "s000.zentor"));
    for (const auto& [mask, most, expected] :
         rows("r@@@ 0 r000r001r002; r@@@ 1 r002; * 2 r002s000; r000 0 r000; x@ 0")) {
        const auto found = names(group("p")->getNodes(mask.c_str(), std::stoi(most)));
        EXPECT_EQ(std::accumulate(found.begin(), found.end(), std::string()), expected) << mask;
    }
    makeProject(at("p2"));
    makeResult(at("r009"));
    EXPECT_THAT(names(INodeGroup::findProjects(m_temp.path().c_str())),
                UnorderedElementsAre("p.zentorproj", "p2.zentorproj"));
    EXPECT_EQ(INodeGroup::findProjects(at("none").c_str())->getSize(), 0U);
    EXPECT_EQ(getStatus(), eNotFound);
}

TEST_F(GroupsTest, IteratorsAreSnapshotsAndTheirCopiesMoveAlone) {
    for (const char* name : {"r000", "r001", "r002"}) {
        makeResult(at(name));
    }
    auto nodes = group("")->getNodes("r@@@", 0);
    nodes.next();
    auto copy = nodes;
    copy.next();
    EXPECT_EQ(text(nodes.current()->getUserVisibleName()), "r001");
    EXPECT_EQ(text(copy.current()->getUserVisibleName()), "r002");
    fs::remove_all(at("r002"));
    makeResult(at("r003"));
    EXPECT_THAT(names(nodes), ElementsAre("r001", "(none)"));
    copy.next();
    EXPECT_TRUE(copy.at_end());
    EXPECT_FALSE(copy.current());
}

TEST_F(GroupsTest, PurgeKeepsTheLastInNameOrder) {
    const auto project = makeProject(at("p"));
    for (const char* name : {"p/r000", "p/r001", "p/r002", "far/r003", "p/s000"}) {
        makeResult(at(name));
    }
    const auto nodes = project->getNodeGroup();
    ASSERT_TRUE(nodes->addNode(at("far/r003").c_str()));
    nodes->purge("r@@@", 5);
    EXPECT_EQ(entries("p").size(), 5U);
    nodes->purge("r@@@", 2);
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_THAT(entries("p"), ElementsAre("r002.zentor", "r003.zentorlink", "s000.zentor"));
    nodes->purge("r@@@", 0);
    EXPECT_THAT(entries("p"), ElementsAre("s000.zentor"));
    EXPECT_FALSE(fs::exists(at("far/r003")));
    nodes->purge("*", -1);
    EXPECT_TRUE(nodes->isEmpty());
    EXPECT_TRUE(fs::exists(project->getMarkerFilePath()));
}

TEST_F(GroupsTest, PurgeGoesOnAfterANodeThatItMayNotDelete) {
    asOrdinaryUser([this] {
        makeResult(at("r000"));
        makeResult(at("r001"));
        lock("r000");
        group("")->purge("*", 0);
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_THAT(entries(""), ElementsAre("r000.zentor"));
        unlock("r000");
    });
}

TEST_F(GroupsTest, OutputDirectoryTakesTheNewNodesOfAGroup) {
    {
        const auto project = makeProject(at("p"));
        const auto nodes = project->getNodeGroup();
        EXPECT_EQ(nodes->getOutputDirectory(), at("p"));
        nodes->setOutputDirectory(at("out").c_str());
        EXPECT_EQ(
            load(project->getMarkerFilePath()).get_bag("vesta")->get_variant("outputDirectory"),
            at("out").c_str());
    }
    const auto nodes = group("p");
    EXPECT_EQ(nodes->getOutputDirectory(), at("out")) << "it was saved";
    const ResultHandle result = nodes->createResultDirectory("r@@@", nullptr);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->getPath(), at("out/r000"));
    EXPECT_EQ(result->getLinkFilePath(), at("p/r000.zentorlink"));
    EXPECT_EQ(nodes->openResultDirectory("r@@@").get(), result.get());
    EXPECT_EQ(nodes->createResultDirectory("r@@@", nullptr)->getPath(), at("out/r001"));
    // Its link file would have the name of one that is there.
    makeResult(at("p/r004"));
    makeResult(at("far/r007"));
    ASSERT_TRUE(nodes->addNode(at("far/r007").c_str()));
    EXPECT_EQ(nodes->createResultDirectory("r@@@", nullptr)->getPath(), at("out/r008"));

    const auto plain = group("out");
    EXPECT_EQ(plain->getOutputDirectory(), at("out"));
    plain->setOutputDirectory("elsewhere");
    EXPECT_STREQ(plain->getOutputDirectory(), "elsewhere");
}

TEST_F(GroupsTest, NodesKnowTheirProject) {
    const auto project = makeProject(at("p"));
    const auto experiment = project->getNodeGroup()->createExperiment("e");
    ASSERT_TRUE(experiment);
    const ResultHandle result = experiment->getNodeGroup()->createResultDirectory("r@@@", nullptr);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->getParent().get(), experiment.get());
    EXPECT_EQ(result->getProject().get(), project.get());
    EXPECT_EQ(experiment->getProject().get(), project.get());
    EXPECT_FALSE(project->getProject()) << "it is not its own";
    const auto inner = experiment->getNodeGroup()->createProject("inner", false);
    EXPECT_EQ(inner->getProject().get(), project.get());
    EXPECT_EQ(project->getNodeGroup()->openExperiment("e").get(), experiment.get());
    EXPECT_FALSE(project->getNodeGroup()->openProject("e"));
}

TEST_F(GroupsTest, RemovalDeletesLinkedNodesWhereTheyAreButIsNotLedAstray) {
    const sptr_t<IProject> project = makeProject(at("project"));
    const std::string linked = makeResult(at("far/r000"));
    ASSERT_TRUE(project->getNodeGroup()->addNode(linked.c_str()));
    makeExperiment(at("outside"));
    makeResult(at("outside/r001"));
    fs::create_symlink(at("outside"), at("project/experiment"));
    fs::create_symlink(at("outside/r001"), at("project/r001"));
    writeFile(at("home/notes.txt"), "kept");
    variant_bag_t link;
    link.put("link", at("home/notes.txt"));
    link.put("md5sum", "");
    ASSERT_EQ(basekit2::save_variant_bag2(link, at("project/x.zentorlink"), "bag"), 1);

    EXPECT_TRUE(project->remove());
    EXPECT_FALSE(fs::exists(at("project")));
    EXPECT_FALSE(fs::exists(at("far/r000")));
    EXPECT_TRUE(fs::exists(at("outside/r001/r001.zentor")));
    EXPECT_EQ(readFile(at("home/notes.txt")), "kept");
}

TEST_F(GroupsTest, ProjectTakesADirectoryThatIsThereAnExperimentDoesNot) {
    const std::string base = m_temp.path().native();
    writeFile(at("old/data"), "data");
    const auto project = IProject::create("old", base.c_str(), false);
    ASSERT_TRUE(project);
    EXPECT_EQ(project->getMarkerFilePath(), at("old/old.zentorproj"));
    EXPECT_EQ(readFile(at("old/data")), "data");
    fs::create_directory(at("taken"));
    EXPECT_FALSE(IExperiment::create("taken", base.c_str()));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_TRUE(fs::is_empty(at("taken")));
    EXPECT_EQ(IProject::create("p@@", base.c_str(), false)->getPath(), at("p00"));
    EXPECT_EQ(IExperiment::create("x/config.zentorexp", base.c_str())->getMarkerFilePath(),
              at("x/config.zentorexp"));
}

TEST_F(GroupsTest, ProjectThatIsThereIsOpenedAsItIs) {
    const std::string marker = at("p/own.zentorproj");
    makeProject(marker);
    edit(marker, "note", "kept");
    const std::string before = readFile(marker);
    for (const std::string& again : {at("p"), marker, at("p/other.zentorproj")}) {
        // It is not to be deleted by who has not made it.
        const auto project = makeProject(again, true);
        ASSERT_TRUE(project) << again;
        EXPECT_EQ(project->getMarkerFilePath(), marker);
        EXPECT_EQ(readFile(marker), before);
    }
    EXPECT_EQ(readFile(marker), before);
    makeProject(at("p2"), true);
    EXPECT_FALSE(fs::exists(at("p2")));
}

}  // namespace
