#include <cstdlib>

#include "model_test.h"
#include "vesta2/result_variable_bag.h"

namespace {

class ManagerTest : public ModelTest {
protected:
    ResultHandle create(const std::string& path, const variant_bag_t* variables = nullptr) const {
        return Results::create(at(path).c_str(), false, variables, false, nullptr);
    }
    ResultHandle get(const std::string& path) const {
        return Results::get(at(path).c_str(), nullptr, false);
    }
    ResultHandle openPattern(const std::string& path) const {
        return Results::open(at(path).c_str(), false, nullptr);
    }
    std::string pathOf(const ResultHandle& result) const {
        return result ? fs::relative(result->getPath(), m_temp.path()).native() : "";
    }
};

TEST_F(ManagerTest, PatternTakesTheNextNumber) {
    // What is there (directories end with "/"), the pattern, and the result that is made.
    const auto cases = rows("- r@@@ r000; r000/,r005/,r003.txt,s009/,r/ r@@@ r006; "
                            "r005/,r007.zentorlink r@@@ r008; r000,r009 r@@@ r001; "
                            "r1000/,r999/ r@@@ r1001; r2147483646/ r@@@ r2147483647; "
                            "r2147483647/ r@@@; a03hs/ a@@hs a04hs; - new/deep/r@ new/deep/r0; "
                            "- r@@@/own.zentor r000");
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [present, pattern, created] = cases[i];
        const std::string place = std::to_string(i) + "/";
        std::istringstream entries(present);
        for (std::string entry; std::getline(entries, entry, ',');) {
            writeFile(at(place + entry + (entry.back() == '/' ? "data" : "")), "");
        }
        const ResultHandle result = create(place + pattern);
        EXPECT_EQ(Results::getLastError(), created.empty() ? eUnknown : eOK) << place << pattern;
        EXPECT_EQ(pathOf(result), created.empty() ? "" : place + created);
    }
    EXPECT_STREQ(Results::getDefaultResultDirectoryName(), "r@@@");
}

TEST_F(ManagerTest, NewResultCarriesItsRecordAndVariables) {
    ::setenv("PMI_RANK", "3", 1);
    ResultVariableBag variables;
    variables.putVariable("user", "ann");
    variables.put("own", 1);
    const ResultHandle result = create("{user}_{none}_r@@@.x", &variables);
    ::unsetenv("PMI_RANK");
    ASSERT_TRUE(result);
    EXPECT_EQ(pathOf(result), "ann_{none}_r000.x");
    const variant_bag_t bag = load(at("ann_{none}_r000.x/ann_{none}_r000.x.zentor"));
    std::string kinds;
    for (const char* key : {"timestamp", "hostname", "os", "product", "buildNumber",
                            "logicalCPUCount", "CPUFrequency", "mpirank", "variables"}) {
        kinds += std::to_string(static_cast<int>(bag.get_bag("vesta")->get_variant(key).kind()));
    }
    EXPECT_EQ(kinds, "455511316") << "in the order of the kinds: int32 is 1, uint64 4, a bag 6";
    EXPECT_EQ(bag.get_bag("vesta")->get_variant("product"), "zentor");
    EXPECT_EQ(bag.get_variant("own"), 1);
    EXPECT_EQ(result->getMpiRank(), 3);
    EXPECT_GE(result->getLogicalCPUCount(), 1);
    EXPECT_EQ(create("plain")->getMpiRank(), -1);
}

TEST_F(ManagerTest, CreationReportsWhyItFailed) {
    writeFile(at("file"), "");
    fs::create_directory(at("taken"));
    const Rows<Text, bool, vesta2::error_t> cases = {{"a:b", false, eReservedCharacters},
                                                     {"r@@@.", false, eInvalidLastCharacter},
                                                     {"a@b@", false, eTooManyPlaceholderGroups},
                                                     {"r@@@@@@@@@", false, eTooLongPlaceholder},
                                                     {"r@@@", true, eParameterError},
                                                     {"taken", false, eAlreadyExists},
                                                     {"file", false, eAlreadyExists},
                                                     {"file/r@@@", false, eNotFound},
                                                     {"file/sub/r@@@", false, eUnknown}};
    for (const auto& [path, overwrite, code] : cases) {
        EXPECT_FALSE(Results::create(at(path).c_str(), overwrite, nullptr, false, nullptr));
        EXPECT_EQ(Results::getLastError(), code) << path;
    }
    EXPECT_FALSE(Results::create(nullptr, false, nullptr, false, nullptr));
    EXPECT_EQ(Results::getLastError(), eParameterError);
    EXPECT_FALSE(Results::get("", nullptr, false));
    EXPECT_EQ(Results::getLastError(), eParameterError);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_temp.path()), fs::directory_iterator()), 2);
    asOrdinaryUser([this] {
        fs::create_directory(at("locked"));
        lock("locked");
        for (const char* path : {"locked/r@@@", "locked/x", "locked/new/r@@@", "locked"}) {
            EXPECT_FALSE(create(path)) << path;
            EXPECT_EQ(Results::getLastError(), eInsufficientPermissions) << path;
        }
        unlock("locked");
    });
}

TEST_F(ManagerTest, VariablesMustKeepTheNameOneComponent) {
    fs::create_directory(at("in"));
    const auto cases =
        rows("../x {v}; / {v}; . {v}; .. {v}; - {v}; a/b {v}@@; a0b {v}; ../x r@@{v}; "
             "r@@@ {v} r@@@; a@b {v}_@@ a@b_00; {v} {v} {v}; ..x {v} ..x");
    makeResult(at("in/r005"));
    for (const auto& [value, pattern, created] : cases) {
        ResultVariableBag variables;
        variables.putVariable("v", value == "a0b" ? std::string("a\0b", 3) : value);
        const ResultHandle result = create("in/" + pattern, &variables);
        EXPECT_EQ(Results::getLastError(), created.empty() ? eInvalidPath : eOK) << value;
        EXPECT_EQ(pathOf(result), created.empty() ? "" : "in/" + created) << value;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(m_temp.path()), fs::directory_iterator()), 1)
        << "nothing was made outside";
}

TEST_F(ManagerTest, OverwriteMakesAfresh) {
    writeFile(at("run1/data.0/old"), "old");
    writeFile(at("outside/kept"), "kept");
    fs::create_symlink(at("outside"), at("run2"));
    writeFile(at("run3"), "a file");
    for (const char* name : {"run1", "run2", "run3", "run4"}) {
        const ResultHandle run = Results::create(at(name).c_str(), true, nullptr, false, nullptr);
        ASSERT_TRUE(run) << name;
        EXPECT_EQ(run->getFilesCount(), 1U) << name;
    }
    EXPECT_EQ(readFile(at("outside/kept")), "kept");
}

TEST_F(ManagerTest, GetOpensMakesAndRepairs) {
    EXPECT_EQ(pathOf(get("run1")), "run1");
    const ResultHandle open = get("run1");
    EXPECT_EQ(get("run1/").get(), open.get());
    EXPECT_EQ(get("run1/run1.zentor").get(), open.get());
    EXPECT_FALSE(get("run1/other.zentor")) << "there is a marker, but not that one";
    EXPECT_EQ(pathOf(get("r@@@")), "r000");
    EXPECT_EQ(pathOf(get("r@@@")), "r001");
    const std::string literal = makeResult(at("r@@@"));
    EXPECT_EQ(literal, at("r@@@/r@@@.zentor"));
    EXPECT_EQ(pathOf(Results::get(at("r@@@").c_str(), nullptr, true)), "r@@@");
    EXPECT_EQ(pathOf(openPattern("r@@@")), "r001");

    writeFile(at("broken/data.0/x"), "x");
    const ResultHandle repaired = get("broken");
    ASSERT_TRUE(repaired);
    EXPECT_EQ(repaired->getMarkerFilePath(), at("broken/broken.zentor"));
    EXPECT_TRUE(load(at("broken/broken.zentor")).empty());
    EXPECT_EQ(readFile(at("broken/data.0/x")), "x");

    const std::string tooLong = std::string(252, 'x');
    EXPECT_FALSE(create("left/" + tooLong + ".zentor"));
    EXPECT_EQ(Results::getLastError(), eUnknown);
    EXPECT_TRUE(fs::is_empty(at("left"))) << "the directory stays, to be repaired";
    EXPECT_EQ(pathOf(get("left")), "left");

    ResultVariableBag variables;
    variables.putVariable("user", "bob");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(pathOf(Results::get(at("of-{user}").c_str(), &variables, false)), "of-bob");
    }

    writeFile(at("file"), "");
    EXPECT_FALSE(get("file"));
    EXPECT_FALSE(get("a@b@"));
    EXPECT_EQ(Results::getLastError(), eTooManyPlaceholderGroups);
}

TEST_F(ManagerTest, OpenTakesTheGreatestMatch) {
    for (const char* name : {"r001", "r002", "r010", "far/r005"}) {
        makeResult(at(name));
    }
    makeExperiment(at("e"));
    makeProject(at("p"));
    ASSERT_TRUE(INodeGroup::open(at("p").c_str())->addNode(at("far/r005").c_str()));
    for (const auto& [path, opened, none] : rows(
             "r@@@ r010; r001 r001; r001/ r001; r002/r002.zentor r002; p/r005.zentorlink far/r005; "
             "p/r005 far/r005; p/r@@@ far/r005; e -; e/e.zentorexp -; none -; x@ -")) {
        EXPECT_EQ(pathOf(openPattern(path)), opened) << path;
        EXPECT_EQ(Results::getLastError() == eOK, !opened.empty()) << path;
    }
    const NodeHandle experiment = lookup(at("e/e.zentorexp"));
    EXPECT_FALSE(IResultDirectory::cast(experiment));
    EXPECT_FALSE(IProject::cast(experiment));
    EXPECT_EQ(IExperiment::cast(experiment).get(), experiment.get());

    const unsigned made = Node::nodeCount();
    for (const auto& [name, kinds, none] : rows("r001 r; r001/r001.zentor r; p/r005.zentorlink r; "
                                                "p/r005 r; e e; e/e.zentorexp e; p p; "
                                                "r@@@ -; none -; far -")) {
        const std::string path = at(name);
        EXPECT_EQ(std::string(IResultDirectory::probe(path.c_str()) ? "r" : "") +
                      (IExperiment::probe(path.c_str()) ? "e" : "") +
                      (IProject::probe(path.c_str()) ? "p" : ""),
                  kinds)
            << name;
    }
    EXPECT_EQ(Node::nodeCount(), made) << "a probe opens nothing";
}

TEST_F(ManagerTest, OpenForDiffPairsTwoResults) {
    makeResult(at("r001"));
    makeResult(at("r002"));
    makeResult(at("alone/x0"));
    for (const auto& [one, two, pair] :
         rows("r@@@ r@@@ r002,r001; r001 r@@@ r001,r002; r002 r@@@ r002,r001; r@@@ r002 r002,r001; "
              "r001 r001; alone/x@ alone/x@; none r001; r001 none")) {
        ResultHandle first = openResult(at("alone/x0"));
        ResultHandle second = first;
        const bool paired =
            Results::openForDiff(at(one).c_str(), at(two).c_str(), &first, &second, false);
        EXPECT_EQ(paired, !pair.empty()) << one << " " << two;
        EXPECT_EQ(Results::getLastError(), paired ? eOK : eNotFound);
        EXPECT_EQ(pathOf(first) + "," + pathOf(second), paired ? pair : ",");
    }
}

TEST_F(ManagerTest, OpenForImportFindsForeignMarkers) {
    variant_bag_t bag;
    bag.put_bag("vesta").put("collectionCommand", "foreign");
    fs::create_directory(at("r000"));
    ASSERT_EQ(createDefaultMarkerFile(at("r000"), ".alien", bag), eOK);
    const ResultHandle result = Results::openForImport(at("r@@@").c_str(), "alien");
    ASSERT_TRUE(result);
    EXPECT_STREQ(result->getCollectorCommand(), "foreign");
    EXPECT_FALSE(openPattern("r@@@"));
    EXPECT_FALSE(Results::openForImport(at("r@@@").c_str(), "other"));
}

TEST_F(ManagerTest, NamesAreBytes) {
    const char* const names[] = {"with space",  "new\nline", "tab\there", "\xc3\xa9\xe4\xb8\xad",
                                 "bad\xff\xc3", "{x}",       "-rf",       "r@"};
    for (const char* name : names) {
        SCOPED_TRACE(name);
        const std::string directory = at(std::string("dir ") + name + "/" + name);
        const std::string marker = makeResult(directory);
        EXPECT_EQ(marker, directory + "/" + name + ".zentor");
        const ResultHandle result = openResult(directory);
        ASSERT_TRUE(result);
        EXPECT_EQ(text(result->getUserVisibleName()), name);
        EXPECT_EQ(Results::get(marker.c_str(), nullptr, true).get(), result.get());
        const auto project = makeProject(at(std::string("project ") + std::to_string(*name)));
        const NodeHandle linked = project->getNodeGroup()->addNode(directory.c_str());
        EXPECT_EQ(linked.get(), result.get());
        EXPECT_EQ(lookup(linked->getLinkFilePath()).get(), linked.get());
        EXPECT_TRUE(result->remove());
        EXPECT_TRUE(fs::is_empty(fs::path(directory).parent_path()));
    }
}

}  // namespace
