#include <cstdlib>

#include "model_test.h"
#include "vesta2/result_variable_bag.h"

namespace {

using ManagerTest = ModelTest;

TEST_F(ManagerTest, PatternTakesTheNextNumber) {
    // What is there (directories end with "/"), the pattern, and the result that is made.
    int number = 0;
    for (const auto& [present, pattern, created] :
         rows<3>("- r@@@ r000; r000/,r005/,r003.txt,s009/,r/ r@@@ r006; r000,r009 r@@@ r001;"
                 "r005/,r007.zentorlink r@@@ r008; r1000/,r999/ r@@@ r1001; a03hs/ a@@hs a04hs;"
                 "r2147483646/ r@@@ r2147483647; r2147483647/ r@@@; - new/deep/r@ new/deep/r0;"
                 "- r@@@/own.zentor r000")) {
        const std::string place = std::to_string(number++) + "/";
        std::istringstream entries(present);
        for (std::string entry; std::getline(entries, entry, ',');) {
            writeFile(place + entry + (entry.back() == '/' ? "data" : ""), "");
        }
        play("create " + place + pattern + " -> " +
             (created.empty() ? "no unknown" : place + created));
    }
    EXPECT_STREQ(Results::getDefaultResultDirectoryName(), "r@@@");
    // Also where a listing is dear, and what is known of it is kept through what is made there.
    for (int i = 0; i < 3000; ++i) {
        writeFile("many/file" + std::to_string(i), "");
    }
    play(R"(create many/s@ many/s@ many/r@@@   -> many/s0, many/s1, many/r000
            create many/r005 many/r@@@ many/s@ -> many/r005, many/r006, many/s2)");
}

TEST_F(ManagerTest, NewResultCarriesItsRecordAndVariables) {
    ::setenv("PMI_RANK", "3", 1);
    ResultVariableBag variables;
    variables.putVariable("user", "ann");
    variables.put("own", 1);
    const ResultHandle result =
        Results::create("{user}_{none}_r@@@.x", false, &variables, false, nullptr);
    ::unsetenv("PMI_RANK");
    const variant_bag_t bag = load("ann_{none}_r000.x/ann_{none}_r000.x.zentor");
    std::string kinds;
    for (const char* key : {"timestamp", "hostname", "os", "product", "buildNumber",
                            "logicalCPUCount", "CPUFrequency", "mpirank", "variables"}) {
        kinds += std::to_string(static_cast<int>(bag.get_bag("vesta")->get_variant(key).kind()));
    }
    EXPECT_EQ(kinds, "455511316") << "in the order of the kinds: int32 is 1, uint64 4, a bag 6";
    EXPECT_EQ(bag.get_bag("vesta")->get_variant("product"), "zentor");
    EXPECT_EQ(bag.get_variant("own"), 1);
    EXPECT_EQ(result->getMpiRank(), 3);
    EXPECT_EQ(result->getLogicalCPUCount(), ::sysconf(_SC_NPROCESSORS_CONF));
    EXPECT_EQ(text(result->getCreationHostName()) + "\n", readFile("/proc/sys/kernel/hostname"));
    EXPECT_EQ(openResult(makeResult("plain"))->getMpiRank(), -1);
}

TEST_F(ManagerTest, CreationReportsWhyItFailed) {
    play(R"(write file; mkdir taken
            create a:b                    -> no chars
            create r@@@. a@b@.            -> no last
            create @@@@@@@@@x@            -> no groups
            create @@@@@@@@@.x            -> no long
            overwrite r@@@                -> no parameter
            overwrite taken/.. taken/./   -> no path
            create taken file             -> no exists
            create file/r@@@ file/sub/r@@ -> no not-found
            tree .                        -> file taken)");
    asOrdinaryUser([this] {
        play(R"(mkdir locked; chmod 500 locked
                create locked/r@@@ locked/x locked/new/r@@@ locked -> no permission
                chmod 700 locked)");
    });
}

TEST_F(ManagerTest, NamesAreCheckedWithTheirVariablesFilledIn) {
    using namespace std::string_literals;
    makeResult("in/r005");
    // The variable, the name, and what is made, or why it is not.
    for (const auto& [value, name, outcome] :
         rows<3>("../x {v} path; . {v} path; - {v} path; a\0b {v} path; a/b r@@{v} path;"
                 "a:b {v}_@@ chars; ? r@@@{v} chars; x. {v} last; r@@@ {v} in/r@@@;"
                 "a@b {v}_@@ in/a@b_00; ..x {v} in/..x"s)) {
        SCOPED_TRACE(value + " in " + name);
        ResultVariableBag variables;
        variables.putVariable("v", value);
        const std::size_t before = namesIn("in").size();
        const bool isMade = outcome.find('/') != std::string::npos;
        // What is made the first time is found the second.
        const bool isPattern = name.find('@') != std::string::npos;
        for (int literal = 0; literal < (isPattern ? 1 : 2); ++literal) {
            EXPECT_EQ(answer(Results::get(("in/" + name).c_str(), &variables, literal != 0)),
                      isMade ? outcome : "no " + outcome);
        }
        EXPECT_EQ(namesIn("in").size(), before + isMade);
    }
    EXPECT_EQ(namesIn(".").size(), 1U) << "nothing was made outside";
}

TEST_F(ManagerTest, NothingIsMadeInTheWorkingDirectoryInstead) {
    asOrdinaryUser([this] {
        play(R"(mkdir here base closed/base; write file; symlink nowhere dangling
                symlink round round; experiment far; project q; add q far
                chmod 0 closed)");
        fs::current_path("here");
        // The base, the name, and where it is made, or why it is not.
        for (const auto& [base, name, outcome] : rows<3>(
                 "base x base/x; none/deep x none/deep/x; base in/x base/in/x; file x not-found;"
                 "file/sub x not-found; dangling x not-found; closed/base x permission;"
                 "base ../file/x not-found; base ../dangling/x not-found; round x not-found")) {
            for (const std::string kind : {"-result", "-experiment", "-project"}) {
                const bool isMade = outcome.find('/') != std::string::npos;
                play("make" + kind + " ../" + base + " " + name + kind + " -> " +
                     (isMade ? "../" + outcome + kind : "no " + outcome));
            }
        }
        play(R"(make-result ../q/far x -> ../far/x in ../far
                project ../file ../dangling ../round -> no exists
                tree .                               ->)");
        EXPECT_FALSE(fs::exists(at("nowhere")));
        fs::permissions(at("closed"), fs::owner_all);
    });
}

TEST_F(ManagerTest, NullIsNoArgument) {
    play("project p; experiment e; result r");
    const auto group = INodeGroup::open("p");
    const ResultHandle result = this->result("r");
    ResultHandle out;
    const auto expectRefused = [](const auto& given) {
        EXPECT_EQ(answer(static_cast<bool>(given)), "no parameter");
        setStatus(eOK);
    };
    for (const char* name : {static_cast<Text>(nullptr), ""}) {
        expectRefused(Results::create(name, false, nullptr, false, nullptr));
        expectRefused(Results::get(name, nullptr, false));
        expectRefused(IProject::create(name, nullptr, false));
        expectRefused(IExperiment::create(name, nullptr));
        expectRefused(INodeGroup::open(name));
        expectRefused(group->addNode(name));
        expectRefused(group->createResultDirectory(name, nullptr));
        expectRefused(group->createExperiment(name));
        expectRefused(group->createProject(name, false));
        expectRefused(result->move(name, true, nullptr));
        expectRefused(result->duplicate(name));
        expectRefused(result->exportTo(name, nullptr));
    }
    expectRefused(Results::open(nullptr, false, nullptr));
    expectRefused(Results::openForDiff(nullptr, "r", &out, &out, false));
    expectRefused(Results::openForDiff("r", nullptr, &out, &out, false));
    expectRefused(Results::openForDiff("r", "r", nullptr, &out, false));
    expectRefused(Results::openForDiff("r", "r", &out, nullptr, false));
    expectRefused(Results::openForImport(nullptr, "alien"));
    expectRefused(Results::openForImport("r", nullptr));
    expectRefused(IProject::open(nullptr, "."));
    expectRefused(IExperiment::open(nullptr, "."));
    expectRefused(group->openResultDirectory(nullptr));
    expectRefused(group->openExperiment(nullptr));
    expectRefused(group->openProject(nullptr));
    expectRefused(INodeGroup::findProjects(nullptr)->getSize());
    removeVestaVariableFromMarkerFile(nullptr, "x");
    expectRefused(false);
    removeVestaVariableFromMarkerFile("r", nullptr);
    expectRefused(false);
    EXPECT_FALSE(Results::isPathPatterned(nullptr) || Results::isReservedDirectoryName(nullptr) ||
                 IResultDirectory::probe(nullptr) || IProject::probe(nullptr) ||
                 IExperiment::probe(nullptr));
    EXPECT_TRUE(Pattern().match("1", nullptr));
    play("tree . -> e e/e.zentorexp p p/p.zentorproj r r/r.zentor");
}

TEST_F(ManagerTest, WhatIsMadeAnewIsAnotherNode) {
    play(R"(write outside/kept; symlink outside run2; write run3
            overwrite run2 run3 run4 -> run2, run3, run4
            read outside/kept -> outside/kept)");
    // The object that was open on what is gone must not bring that back.
    for (const std::string way :
         {"overwrite run", "rm run; create run", "remove old; create run"}) {
        play("create run; write run/data.0/old; hold old run");
        result("old")->setCollectorCommand("of the old one");
        result("old")->setRemoveOnClose(true);
        play(way + "; hold made run; save old -> no not-found");
        EXPECT_NE(m_held["made"].get(), m_held["old"].get());
        EXPECT_EQ(text(result("made")->getCollectorCommand()), "(null)");
        play("drop old; tree run -> run.zentor");
        EXPECT_FALSE(load("run/run.zentor").get_bag("vesta")->has("collectionCommand"));
        play("remove made");
    }
}

TEST_F(ManagerTest, GetOpensMakesAndRepairs) {
    play(R"(get run1                 -> run1
            hold run1 run1
            get run1/ run1/run1.zentor -> run1
            handles                  -> 1
            get run1/other.zentor    -> no not-found
            get r@@@ r@@@            -> r000, r001
            result r@@@              -> r@@@
            open r@@@                -> r001
            write broken/data.0/x
            get broken               -> broken
            tree broken              -> broken.zentor data.0 data.0/x
            write file
            get file                 -> no exists
            get a@b@                 -> no groups)");
    EXPECT_TRUE(load("broken/broken.zentor").empty());
    EXPECT_EQ(pathOf(Results::get("r@@@", nullptr, true)), "r@@@");
    play("create left/" + std::string(252, 'x') + ".zentor -> no unknown");
    play(R"(tree left                ->
            get left                 -> left)");
}

TEST_F(ManagerTest, OpenTakesTheGreatestMatchAndProbesOpenNothing) {
    play(R"(result r001 r002 r010 far/r005; experiment e; project p; add p far/r005
            open r@@@               -> r010
            open p/r005 p/r@@@      -> far/r005 by p/r005.zentorlink in p
            open e none x@          -> no not-found)");
    const NodeHandle experiment = lookup("e/e.zentorexp");
    EXPECT_FALSE(IResultDirectory::cast(experiment) || IProject::cast(experiment));
    EXPECT_EQ(IExperiment::cast(experiment).get(), experiment.get());
    const unsigned made = Node::nodeCount();
    for (const auto& [name, kinds] :
         rows<2>("r001 r; r001/r001.zentor r; p/r005.zentorlink r; p/r005 r; e e; e/e.zentorexp e;"
                 "p p; r@@@; none; far")) {
        EXPECT_EQ(std::string(IResultDirectory::probe(name.c_str()) ? "r" : "") +
                      (IExperiment::probe(name.c_str()) ? "e" : "") +
                      (IProject::probe(name.c_str()) ? "p" : ""),
                  kinds)
            << name;
    }
    EXPECT_EQ(Node::nodeCount(), made);
}

TEST_F(ManagerTest, DiffPairsTwoResultsAndImportFindsForeignMarkers) {
    play("result r001; result r002; result alone/x0");
    for (const auto& [one, two, pair] : rows<3>(
             "r@@@ r@@@ r002,r001; r001 r@@@ r001,r002; r002 r@@@ r002,r001; r@@@ r002 r002,r001; "
             "r001 r001; alone/x@ alone/x@; none r001; r001 none")) {
        ResultHandle first = openResult("alone/x0");
        ResultHandle second = first;
        EXPECT_EQ(answer(Results::openForDiff(one.c_str(), two.c_str(), &first, &second, false)),
                  pair.empty() ? "no not-found" : "ok");
        EXPECT_EQ(pathOf(first) + "," + pathOf(second), pair.empty() ? "," : pair);
    }
    play(R"(result a000; mv a000/a000.zentor a000/a000.alien
            import a@@@ alien -> a000
            import a@@@ other -> no not-found
            open a@@@         -> no not-found)");
}

}  // namespace
