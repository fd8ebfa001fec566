#include "vesta2/discovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <string>
#include <vector>

#include "support/constraints.h"
#include "support/temp_directory.h"
#include "vesta2/error.h"
#include "vesta2/path_iterators.h"

namespace {

namespace fs = boost::filesystem;
using namespace vesta2;
using testing::ElementsAre;
using testing::IsEmpty;
using vesta2::error_t;  // the C library has one too

TEST(FileSet, IsOrderedByFileName) {
    EXPECT_THAT(FileSet(".c", "", ".a"), ElementsAre(".a", ".c"));
    EXPECT_THAT(FileSet("", "", ""), IsEmpty());
    FileSet set;
    for (const char* path : {"/z/r1000.z", "/a/r999.z", "/b/r010.z", "/c/r999.z", "r01.z"}) {
        set.insert(path);
    }
    EXPECT_THAT(set, ElementsAre("r01.z", "/b/r010.z", "/z/r1000.z", "/a/r999.z"));
    set.insert("/x/\xFFz");
    EXPECT_EQ(*set.rbegin(), "/x/\xFFz");
}

TEST(Extensions, CompareExactly) {
    const FileSet markers(".zentor", ".zentorexp");
    for (const char* path : {"a.zentor", ".zentor", "a.b.zentorexp"}) {
        EXPECT_TRUE(hasExtension(path, markers)) << path;
        EXPECT_FALSE(hasLinkExtension(path)) << path;
    }
    for (const char* path : {"a.zentorproj", "a.Zentor", "a.zentor.b", "x.zentor/a", "zentor"}) {
        EXPECT_FALSE(hasExtension(path, markers)) << path;
        EXPECT_FALSE(hasLinkExtension(path)) << path;
    }
    for (const char* path : {"a.zentorlink", "/x/a.zentorexplink", ".zentorlink"}) {
        EXPECT_TRUE(hasLinkExtension(path, markers)) << path;
        EXPECT_TRUE(hasLinkExtension(path)) << path;
        EXPECT_FALSE(hasExtension(path, markers)) << path;
    }
    for (const char* path : {"a.zentorprojlink", "a.zentorlinklink", "a.link", ".link"}) {
        EXPECT_FALSE(hasLinkExtension(path, markers)) << path;
        EXPECT_TRUE(hasLinkExtension(path)) << path;
    }
    EXPECT_FALSE(hasLinkExtension("a.zentorLINK"));
    EXPECT_FALSE(hasLinkExtension("link"));
    EXPECT_TRUE(hasExtension("a.zentor", ".zentor"));
    EXPECT_FALSE(hasExtension("a.zentorexp", ".zentor"));
    EXPECT_TRUE(isLink("a.ZENTORLink"));
}

/// A directory with results and links in it.
class Search : public testing::Test {
protected:
    /// Makes empty files, and the directories that lead to them.
    void make(const std::vector<std::string>& names) const {
        for (const std::string& name : names) {
            support::writeFile(m_directory / name, "");
        }
    }

    /// What a search finds, relative to the directory; it has to leave `status`.
    std::vector<std::string> found(const std::string& path, error_t status, int maxCount = 0,
                                   bool literal = false) const {
        FileSet hits;
        findPatternedMarkerFileOrLink(path, m_path.c_str(), m_extensions, hits, maxCount, literal);
        EXPECT_EQ(getStatus(), status) << path;
        std::vector<std::string> names;
        for (const std::string& hit : hits) {
            EXPECT_EQ(hit.rfind(m_path + "/", 0), 0u) << hit;
            names.push_back(hit.substr(m_path.size() + 1));
        }
        return names;
    }

    support::TempDirectory m_directory;
    std::string m_path = m_directory.path().native();
    FileSet m_extensions{".zentor", ".zentorexp"};
};

TEST_F(Search, DirectoryGivesTheFirstListedMarkerFile) {
    make({"r/b.zentor", "r/a.zentor", "r/c.zentorexp", "r/d.zentorproj", "target"});
    std::string first;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_directory / "r")) {
        if (first.empty() && hasExtension(entry.path(), m_extensions)) {
            first = entry.path().native();
        }
    }
    setStatus(eUnknown);
    EXPECT_EQ(findMarkerFileInDir(m_directory / "r", m_extensions), first);
    EXPECT_EQ(getStatus(), eOK);

    fs::create_directories(m_directory / "s/x.zentor");
    fs::create_symlink("nowhere", m_directory / "s/y.zentor");
    setStatus(eUnknown);
    EXPECT_EQ(findMarkerFileInDir(m_directory / "s", m_extensions), "");
    EXPECT_EQ(getStatus(), eOK);
    fs::create_symlink("../target", m_directory / "s/z.zentor");
    EXPECT_EQ(findMarkerFileInDir(m_directory / "s", m_extensions), m_directory / "s/z.zentor");
    EXPECT_THROW(findMarkerFileInDir(m_directory / "missing", m_extensions), fs::filesystem_error);
}

TEST_F(Search, PathGivesMarkerFileOrLink) {
    make({"r000/a.zentor", "none/text", "a.zentor", "a.zentorproj", "l.zentorlink",
          "both.zentorexplink", "both.zentorlink", "p.zentorprojlink", "dot.d.zentorlink",
          "mark.zentor", "r000.zentorlink"});
    fs::create_directory_symlink("r000", m_directory / "to");
    fs::create_directories(m_directory / "dir.zentorlink");
    const auto find = [this](const std::string& name, bool acceptMarker = true) {
        setStatus(eUnknown);
        const std::string hit =
            findMarkerFileOrLink(m_directory / name, m_extensions, acceptMarker);
        EXPECT_EQ(getStatus(), eOK) << name;
        return hit.empty() ? hit : hit.substr(m_path.size() + 1);
    };
    for (const char* name : {"r000", "r000/", "r000/.", "none/../r000"}) {
        EXPECT_EQ(find(name), "r000/a.zentor") << name;
    }
    EXPECT_EQ(find("to"), "to/a.zentor");
    EXPECT_EQ(find("a.zentor"), "a.zentor");
    EXPECT_EQ(find("a.zentor", false), "");
    // A link, named or beside a bare name; a bare name never gives a marker file.
    EXPECT_EQ(find("l.zentorlink", false), "l.zentorlink");
    EXPECT_EQ(find("l", false), "l.zentorlink");
    EXPECT_EQ(find("both"), "both.zentorlink");
    for (const char* name : {"none", "missing", "mark", "dot.d", "dir", "dir.zentorlink",
                             // kinds that are not wanted
                             "a.zentorproj", "p.zentorprojlink", "p"}) {
        EXPECT_EQ(find(name), "") << name;
    }
}

TEST_F(Search, PatternGivesTheGreatestOfItsMatches) {
    make({"r001/r001.zentor", "r002/r002.zentor", "r010/r010.zentor", "r011/text", "s1/s1.zentor",
          "r003.zentorlink", "r004.zentor", "r005.zentorprojlink", "rx/rx.zentor", "r012"});
    EXPECT_THAT(found("r@@@", eOK, 1), ElementsAre("r010/r010.zentor"));
    EXPECT_THAT(found("r@@@", eOK, 2), ElementsAre("r003.zentorlink", "r010/r010.zentor"));
    const auto all =
        ElementsAre("r001/r001.zentor", "r002/r002.zentor", "r003.zentorlink", "r010/r010.zentor");
    EXPECT_THAT(found("r@@@", eOK), all);
    EXPECT_THAT(found("r@", eOK, 99), all);
    EXPECT_THAT(found("r@@@/", eOK), all);
    EXPECT_THAT(found("r01@", eOK), ElementsAre("r010/r010.zentor"));
    EXPECT_THAT(found("q@", eNotFound), IsEmpty());
    // A plain name, and a pattern taken as one.
    EXPECT_THAT(found("r002", eOK), ElementsAre("r002/r002.zentor"));
    EXPECT_THAT(found("r004.zentor", eOK), ElementsAre("r004.zentor"));
    EXPECT_THAT(found("r@@@", eNotFound, 0, true), IsEmpty());
    make({"r@@@/odd.zentor"});
    EXPECT_THAT(found("r@@@", eOK, 0, true), ElementsAre("r@@@/odd.zentor"));

    make({"r999/r999.zentor", "r1000/r1000.zentor"});
    EXPECT_EQ(findLastMatching("r@@@", m_path.c_str(), ".zentor", false),
              m_directory / "r999/r999.zentor");
    EXPECT_EQ(findLastMatching(m_directory / "*", "/nowhere", ".zentor", false),
              m_directory / "s1/s1.zentor");
    EXPECT_EQ(findLastMatching("r@@@", m_path.c_str(), "", false), "");
    EXPECT_EQ(getStatus(), eNotFound);
}

TEST_F(Search, StarGivesEveryNode) {
    EXPECT_THAT(found("*", eNotFound), IsEmpty());
    const std::string odd = "a b\n\xFF\xC3";
    make({"r1/b.zentor", "e/c.zentorexp", "p/d.zentorproj", "a.zentorlink", "own.zentor",
          odd + "/" + odd + ".zentor"});
    fs::create_directory_symlink("r1", m_directory / "same");
    fs::create_symlink("nowhere", m_directory / "z.zentorlink");
    const auto everything =
        testing::UnorderedElementsAre(testing::AnyOf("r1/b.zentor", "same/b.zentor"),
                                      "e/c.zentorexp", "a.zentorlink", odd + "/" + odd + ".zentor");
    EXPECT_THAT(found("*", eOK), everything);
    EXPECT_THAT(found("", eOK), everything);
    EXPECT_THAT(found("", eOK, 1), ElementsAre("e/c.zentorexp"));
    EXPECT_THAT(found(odd, eOK), ElementsAre(odd + "/" + odd + ".zentor"));
}

TEST_F(Search, StatusTellsWhatIsWrong) {
    make({"r1/a.zentor"});
    EXPECT_THAT(found("a:b", eReservedCharacters), IsEmpty());
    EXPECT_THAT(found("r@.", eInvalidLastCharacter), IsEmpty());
    EXPECT_THAT(found("a@b@", eParameterError), IsEmpty());
    EXPECT_THAT(found("@@@@@@@@@", eParameterError), IsEmpty());
    EXPECT_THAT(found("missing/r@@@", eNotFound), IsEmpty());
    EXPECT_THAT(found("missing/*", eNotFound), IsEmpty());
    EXPECT_THROW(found("r1/a.zentor/*", eOK), fs::filesystem_error);
    EXPECT_THAT(found("/", eInvalidPath), IsEmpty());
    EXPECT_THAT(found(std::string(252, 'x'), eNotFound), IsEmpty()) << "with \"link\" too long";
    fs::create_symlink("round", m_directory / "round");
    EXPECT_THAT(found("round", eNotFound), IsEmpty());

    // What was found before stays, and counts.
    FileSet hits;
    hits.insert("/x/before");
    findPatternedMarkerFileOrLink("q@", m_path.c_str(), m_extensions, hits, 0, false);
    EXPECT_EQ(getStatus(), eOK);
    findPatternedMarkerFileOrLink("*", m_path.c_str(), m_extensions, hits, 0, false);
    EXPECT_THAT(hits, ElementsAre(m_directory / "r1/a.zentor", "/x/before"));
    findPatternedMarkerFileOrLink("*", m_path.c_str(), m_extensions, hits, 1, false);
    EXPECT_THAT(hits, ElementsAre("/x/before"));
}

/// What is somebody else's hides nothing but itself; where it cannot be told what there is, nothing
/// is answered.
TEST_F(Search, UnknownIsNotAbsent) {
    make({"r1/a.zentor", "r2/b.zentor", "closed/in/c.zentor", "group/r3/d.zentor", "p/e.zentorproj",
          "apart/f.zentor"});
    fs::create_directory_symlink("closed/in", m_directory / "r4");
    fs::create_symlink("closed/in/c.zentor", m_directory / "g.zentorlink");
    fs::create_symlink("../closed/in/c.zentor", m_directory / "apart/a.zentor");
    fs::permissions(m_directory / "closed", fs::no_perms);
    fs::permissions(m_directory / "r2", fs::owner_exe);
    fs::permissions(m_directory / "group", fs::owner_read | fs::others_read);
    support::asOrdinaryUser(m_directory.path(), [this] {
        EXPECT_THAT(found("*", eOK), ElementsAre("r1/a.zentor"));
        EXPECT_THAT(found("r@", eOK), ElementsAre("r1/a.zentor"));
        EXPECT_EQ(ProjectPathIterator(m_path.c_str()).getSize(), 1u);
        EXPECT_EQ(getStatus(), eOK);
        for (const char* path : {"r2", "r4", "closed/in", "closed/in/*", "closed/x", "group/*",
                                 "group/r@", "apart", "g.zentorlink"}) {
            EXPECT_THROW(found(path, eOK), fs::filesystem_error) << path;
        }
#ifndef __SANITIZE_ADDRESS__  // which needs descriptors itself to look at what is thrown
        const support::NoDescriptors none;
        EXPECT_THROW(found("*", eOK), fs::filesystem_error);
#endif
    });
    for (const char* name : {"closed", "r2", "group"}) {
        fs::permissions(m_directory / name, fs::owner_all);
    }
}

}  // namespace
