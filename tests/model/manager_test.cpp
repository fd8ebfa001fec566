#include <cstdlib>

#include "model_test.h"
#include "vesta/model/marker_io.h"
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
    std::size_t entriesOf(const std::string& directory) const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(at(directory)), fs::directory_iterator()));
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
                                                     {"file/sub/r@@@", false, eNotFound}};
    for (const auto& [path, overwrite, code] : cases) {
        EXPECT_FALSE(Results::create(at(path).c_str(), overwrite, nullptr, false, nullptr));
        EXPECT_EQ(Results::getLastError(), code) << path;
    }
    EXPECT_FALSE(Results::get("", nullptr, false));
    EXPECT_EQ(Results::getLastError(), eParameterError);
    EXPECT_EQ(entriesOf(""), 2U);
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

TEST_F(ManagerTest, NamesAreCheckedWithTheirVariablesFilledIn) {
    makeResult(at("in/r005"));
    const Rows<Text, Text, Text, vesta2::error_t> cases = {
        {"../x", "{v}", "", eInvalidPath},
        {"/", "{v}", "", eInvalidPath},
        {".", "{v}", "", eInvalidPath},
        {"..", "{v}", "", eInvalidPath},
        {"", "{v}", "", eInvalidPath},
        {"a/b", "{v}@@", "", eInvalidPath},
        {"a0b", "{v}", "", eInvalidPath},
        {"../x", "r@@{v}", "", eInvalidPath},
        {"a:b", "{v}_@@", "", eReservedCharacters},
        {"*", "x{v}", "", eReservedCharacters},
        {"?", "r@@@{v}", "", eReservedCharacters},
        {"x.", "{v}", "", eInvalidLastCharacter},
        {" ", "r@@@{v}", "", eInvalidLastCharacter},
        {"r@@@", "{v}", "r@@@", eOK},
        {"a@b", "{v}_@@", "a@b_00", eOK},
        {"{v}", "{v}", "{v}", eOK},
        {"..x", "{v}", "..x", eOK}};
    std::size_t made = 1;
    for (const auto& [value, name, created, code] : cases) {
        ResultVariableBag variables;
        variables.putVariable("v", text(value) == "a0b" ? std::string("a\0b", 3) : value);
        for (const bool literal : {true, false}) {
            const std::string path = at("in/" + std::string(name));
            const bool isPattern = std::string(name).find('@') != std::string::npos;
            if (literal && isPattern) {
                continue;
            }
            const ResultHandle result = Results::get(path.c_str(), &variables, literal);
            EXPECT_EQ(Results::getLastError(), code) << value << " in " << name;
            EXPECT_EQ(pathOf(result), code == eOK ? text("in/") + created : "") << value;
        }
        made += code == eOK ? 1 : 0;
        EXPECT_EQ(entriesOf("in"), made) << value << " in " << name;
    }
    EXPECT_EQ(entriesOf(""), 1U) << "nothing was made outside";
}

TEST_F(ManagerTest, NothingIsMadeInTheWorkingDirectoryInstead) {
    asOrdinaryUser([this] {
        for (const char* name : {"here", "base", "closed/base"}) {
            fs::create_directories(at(name));
        }
        writeFile(at("file"), "");
        fs::create_symlink("nowhere", at("dangling"));
        fs::create_symlink("round", at("round"));
        makeExperiment(at("far"));
        ASSERT_TRUE(makeProject(at("q"))->getNodeGroup()->addNode(at("far").c_str()));
        fs::permissions(at("closed"), fs::no_perms);
        ASSERT_EQ(::chdir(at("here").c_str()), 0);
        // The base, the name, and where it is made.
        const Rows<Text, Text, Text, vesta2::error_t> cases = {
            {"base", "x", "base/x", eOK},
            {"none/deep", "x", "none/deep/x", eOK},
            {"q/far", "x", "far/x", eOK},
            {"base", "in/x", "base/in/x", eOK},
            {"file", "x", "", eNotFound},
            {"file/sub", "x", "", eNotFound},
            {"dangling", "x", "", eNotFound},
            {"round", "x", "", eNotFound},
            {"base", "../file/x", "", eNotFound},
            {"base", "../dangling/x", "", eNotFound},
            {"closed/base", "x", "", eInsufficientPermissions}};
        for (const auto& [base, name, made, code] : cases) {
            const std::string at_ = at(base);
            const auto expect = [&, path = made, code = code](const char* kind,
                                                              const NodeHandle& node) {
                EXPECT_EQ(getStatus(), code) << at_ << " " << kind;
                EXPECT_EQ(node ? node->getPath() : "", code == eOK ? at(path) + kind : "");
            };
            const auto named = [name = name](const char* kind) { return text(name) + kind; };
            expect("r", Results::create(named("r").c_str(), false, nullptr, false, at_.c_str()));
            expect("e", IExperiment::create(named("e").c_str(), at_.c_str()));
            expect("p", IProject::create(named("p").c_str(), at_.c_str(), false));
        }
        for (const char* name : {"file", "dangling", "round"}) {
            EXPECT_FALSE(makeProject(at(name))) << name;
            EXPECT_EQ(getStatus(), eAlreadyExists) << name;
        }
        EXPECT_TRUE(fs::is_empty(at("here")));
        EXPECT_FALSE(fs::exists(at("nowhere")));
        fs::permissions(at("closed"), fs::owner_all);
    });
}

TEST_F(ManagerTest, NullIsNoArgument) {
    ResultHandle out;
    const std::string name = at("r000");
    const char* const path = name.c_str();
    const std::pair<Text, std::function<bool()>> refused[] = {
        {"create", [] { return !Results::create(nullptr, false, nullptr, false, nullptr); }},
        {"get", [] { return !Results::get(nullptr, nullptr, false); }},
        {"open", [] { return !Results::open(nullptr, false, nullptr); }},
        {"diff, none", [&] { return !Results::openForDiff(nullptr, path, &out, &out, false); }},
        {"diff, one", [&] { return !Results::openForDiff(path, nullptr, &out, &out, false); }},
        {"diff, first", [&] { return !Results::openForDiff(path, path, nullptr, &out, false); }},
        {"diff, second", [&] { return !Results::openForDiff(path, path, &out, nullptr, false); }},
        {"import", [] { return !Results::openForImport(nullptr, "alien"); }},
        {"import as", [&] { return !Results::openForImport(path, nullptr); }},
        {"project", [] { return !IProject::create(nullptr, nullptr, false); }},
        {"project, open", [&] { return !IProject::open(nullptr, m_temp.path().c_str()); }},
        {"experiment", [] { return !IExperiment::create(nullptr, nullptr); }},
        {"experiment, open", [&] { return !IExperiment::open(nullptr, m_temp.path().c_str()); }},
        {"group", [] { return !INodeGroup::open(nullptr); }},
        {"projects", [] { return INodeGroup::findProjects(nullptr)->getSize() == 0; }},
        {"removal of a variable",
         [] { return removeVestaVariableFromMarkerFile(nullptr, "x"), true; }},
        {"removal of no variable",
         [&] { return removeVestaVariableFromMarkerFile(path, nullptr), true; }},
    };
    makeProject(at("p"));
    makeExperiment(at("e"));
    for (const auto& [what, isRefused] : refused) {
        setStatus(eOK);
        EXPECT_TRUE(isRefused()) << what;
        EXPECT_EQ(getStatus(), eParameterError) << what;
    }
    const auto group = INodeGroup::open(at("p").c_str());
    EXPECT_FALSE(group->createResultDirectory(nullptr, nullptr));
    EXPECT_FALSE(group->openResultDirectory(nullptr));
    EXPECT_FALSE(group->createExperiment(nullptr));
    EXPECT_FALSE(group->openExperiment(nullptr));
    EXPECT_FALSE(group->createProject(nullptr, false));
    EXPECT_FALSE(group->openProject(nullptr));
    EXPECT_FALSE(Results::isPathPatterned(nullptr));
    EXPECT_FALSE(Results::isReservedDirectoryName(nullptr));
    EXPECT_FALSE(IResultDirectory::probe(nullptr) || IProject::probe(nullptr) ||
                 IExperiment::probe(nullptr));
    EXPECT_TRUE(Pattern().match("1", nullptr));
    EXPECT_EQ(entriesOf(""), 2U);
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

/// The object that was open on what is replaced must not bring that back.
TEST_F(ManagerTest, WhatIsMadeAnewIsAnotherNode) {
    for (const bool overwrite : {true, false}) {
        const ResultHandle old = create("run");
        ASSERT_TRUE(old);
        old->setCollectorCommand("of the old one");
        old->save();
        if (!overwrite) {
            fs::remove_all(at("run"));
        }
        const ResultHandle made =
            Results::create(at("run").c_str(), overwrite, nullptr, false, nullptr);
        EXPECT_NE(made.get(), old.get());
        EXPECT_EQ(text(made->getCollectorCommand()), "(null)");
        EXPECT_TRUE(old->save());
        EXPECT_EQ(getStatus(), eNotFound);
        EXPECT_FALSE(load(at("run/run.zentor")).get_bag("vesta")->has("collectionCommand"));
        EXPECT_TRUE(made->remove());
    }
}

/// Somebody may find the new directory before its marker file is there.
TEST_F(ManagerTest, CreationRecordGoesBeforeARepairAndBehindAllElse) {
    variant_bag_t record;
    record.put("made", 1);
    variant_bag_t saved;
    saved.put("saved", 2);
    fs::create_directory(at("r"));
    const std::string marker = at("r/r.zentor");
    const std::tuple<const variant_bag_t*, vesta2::error_t, const variant_bag_t*> cases[] = {
        {nullptr, eOK, &record}, {&saved, eAlreadyExists, &saved}};
    for (const auto& [present, code, kept] : cases) {
        fs::remove(marker);
        ASSERT_EQ(createDefaultMarkerFile(at("r"), ".zentor", present ? *present : variant_bag_t()),
                  eOK);
        EXPECT_EQ(writeFirstMarkerFile(marker, record), code);
        EXPECT_EQ(load(marker), *kept);
    }
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
