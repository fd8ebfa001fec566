#include "model_test.h"

namespace {

class GroupsTest : public ModelTest {
protected:
    static std::string names(basekit2::generic_iterator_t<NodeHandle> nodes) {
        std::string found;
        for (; !nodes.at_end(); nodes.next()) {
            const NodeHandle node = nodes.current();
            found += node ? text(node->getUserVisibleName()) : "-";
        }
        return found;
    }
};

TEST_F(GroupsTest, AreOpenedOnProjectsExperimentsAndPlainDirectories) {
    play(R"(project p; experiment p/e; result p/r000; write file)");
    // The path, and the group's node: none for a group that stands alone.
    for (const auto& [path, owner] :
         rows<2>("p p; p/ p; p/./e p/e; p/e/e.zentorexp p/e; p/r000; .")) {
        const auto opened = INodeGroup::open(path.c_str());
        ASSERT_TRUE(opened) << path;
        EXPECT_EQ(pathOf(opened->getNode()), owner) << path;
    }
    for (const char* path : {"none", "file", "p/r000/r000.zentor"}) {
        EXPECT_FALSE(INodeGroup::open(path)) << path;
    }
    const auto held = INodeGroup::open("p");
    EXPECT_EQ(Node::handleCount(), 1U) << "its group keeps the project open";
    EXPECT_FALSE(openResult("p/r000")->getNodeGroup());
}

TEST_F(GroupsTest, TakeTheKindsThatGoThere) {
    play(R"(project p other; experiment e f; result r000; mkdir plain
            add p other plain none -> no ok
            add e other f          -> no ok
            add plain r000         -> no ok
            add p f                -> f by p/f.zentorexplink in p
            add e r000             -> r000 by e/r000.zentorlink in e
            add p r000             -> r000 by p/r000.zentorlink in p
            group p                -> f.zentorexplink r000.zentorlink
            group e                ->)");
}

TEST_F(GroupsTest, ListTheirNodesInNameOrder) {
    play("project p");
    const auto group = INodeGroup::open("p");
    EXPECT_TRUE(group->isEmpty());
    play(R"(result p/r001 p/r000 far/r002 p/s000 r009; experiment p/e; project p/q
            write p/r003.txt; mkdir p/r004; add p far/r002)");
    play("group p -> e/e.zentorexp q/q.zentorproj r000/r000.zentor r001/r001.zentor "
         "r002.zentorlink s000/s000.zentor");
    EXPECT_FALSE(group->isEmpty());
    for (const auto& [mask, most, expected] :
         rows<3>("r@@@ 0 r000r001r002; r@@@ 1 r002; * 2 r002s000; r000 0 r000; x@ 0")) {
        EXPECT_EQ(names(group->getNodes(mask.c_str(), std::stoi(most))), expected) << mask;
    }
    EXPECT_EQ(listed(INodeGroup::findProjects(at("").c_str()), "."), "p/p.zentorproj");
    EXPECT_EQ(answer(INodeGroup::findProjects("none")->getSize() != 0), "no not-found");
    // An iterator is a snapshot, and its copies move alone.
    auto nodes = group->getNodes("r@@@", 0);
    auto copy = nodes;
    copy.next();
    play("rm p/r001; result p/r003");
    EXPECT_EQ(names(nodes), "r000-r002");
    EXPECT_EQ(names(copy), "-r002");
}

TEST_F(GroupsTest, PurgeKeepsTheLastInNameOrder) {
    play(R"(project p; result p/r0 p/r1 p/r2 far/r3 p/s0; add p far/r3
            purge p r@ 4   -> ok
            group p        -> r0/r0.zentor r1/r1.zentor r2/r2.zentor r3.zentorlink s0/s0.zentor
            purge p r@ 2   -> ok
            purge p x* 1   -> ok chars
            purge p a@b@ 1 -> ok parameter
            purge p none 1 -> ok not-found
            purge far ../p/r@ 0 -> ok path
            group p        -> r2/r2.zentor r3.zentorlink s0/s0.zentor
            purge p r@ 0   -> ok
            tree .         -> far p p/p.zentorproj p/s0 p/s0/s0.zentor
            purge p * -1   -> ok
            tree p         -> p.zentorproj)");
    asOrdinaryUser([this] {
        play(R"(result own/r000 own/r001; chmod 500 own/r000
                purge own * 0 -> ok permission
                tree own      -> r000 r000/r000.zentor
                chmod 700 own/r000)");
    });
}

TEST_F(GroupsTest, OutputDirectoryTakesTheNewNodesOfAGroup) {
    makeProject("p")->getNodeGroup()->setOutputDirectory(at("out").c_str());
    const auto group = INodeGroup::open("p");
    EXPECT_EQ(group->getOutputDirectory(), at("out")) << "it was saved";
    const ResultHandle result = group->createResultDirectory("r@@@", nullptr);
    EXPECT_EQ(group->openResultDirectory("r@@@").get(), result.get());
    // Its link file would have the name of one that is there.
    play(R"(node out/r000 -> out/r000 by p/r000.zentorlink in p
            result p/r004 far/r007; add p far/r007)");
    EXPECT_EQ(pathOf(group->createResultDirectory("r@@@", nullptr)), "out/r008");
    EXPECT_EQ(INodeGroup::open(at("out").c_str())->getOutputDirectory(), at("out"));
}

TEST_F(GroupsTest, NodesKnowTheirProject) {
    const auto project = makeProject("p");
    const auto group = project->getNodeGroup();
    const auto inner = group->createExperiment("e")->getNodeGroup()->createProject("i", false);
    EXPECT_EQ(inner->getProject().get(), project.get());
    EXPECT_FALSE(project->getProject() || group->openProject("e")) << "it is not its own";
    EXPECT_EQ(group->openExperiment("e").get(), inner->getParent().get());
}

TEST_F(GroupsTest, RemovalDeletesLinkedNodesWhereTheyAreButIsNotLedAstray) {
    play(R"(project p; result far/r000 far/gone; add p far/r000; add p far/gone; rm far/gone
            experiment outside
            result outside/r001; symlink outside p/e; symlink outside/r001 p/r001
            write notes.txt; link p/x.zentorlink notes.txt
            remove p -> ok
            tree . -> far notes.txt outside outside/outside.zentorexp outside/r001 outside/r001/r001.zentor)");
}

TEST_F(GroupsTest, ProjectTakesADirectoryThatIsThereAndKeepsItsMarker) {
    play(R"(write old/data
            project old      -> old
            tree old         -> data old.zentorproj
            mkdir taken
            experiment taken -> no exists
            project p@@      -> p00
            experiment x/config.zentorexp; project p/own.zentorproj
            tree x           -> config.zentorexp
            edit p/own.zentorproj note kept; note p/own.zentorproj)");
    for (const char* again : {"p", "p/own.zentorproj", "p/other.zentorproj"}) {
        // Not to be deleted by who has not made it.
        EXPECT_EQ(pathOf(makeProject(again, true)), "p") << again;
    }
    play("tree p -> own.zentorproj; unchanged");
}

}  // namespace
