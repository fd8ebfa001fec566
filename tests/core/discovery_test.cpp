#include "vesta2/discovery.h"

#include <boost/algorithm/string.hpp>

#include "support/test.h"
#include "vesta2/error.h"
#include "vesta2/path_iterators.h"

namespace {

using namespace vesta2;

/// A directory with results and links in it.
class Search : public testing::Test {
protected:
    /// Makes empty files, and the directories that lead to them.
    void make(const std::string& names) const {
        for (const std::string& name : words(names)) {
            writeFile(m_directory / name, "");
        }
    }
    /// The paths as if the directory were the root.
    std::string relative(const std::string& hits) const {
        return boost::erase_all_copy(hits, m_path);
    }

    /// What a search finds; it has to leave `status`.
    std::string found(const std::string& path, vesta2::error_t status = eOK, int maxCount = 0,
                      bool literal = false) const {
        FileSet hits;
        findPatternedMarkerFileOrLink(path, m_path.c_str(), m_extensions, hits, maxCount, literal);
        EXPECT_EQ(getStatus(), status) << path;
        return relative(boost::join(hits, " "));
    }

    support::TempDirectory m_directory;
    std::string m_path = m_directory.path().native();
    FileSet m_extensions{".zentor", ".zentorexp"};
};

TEST_F(Search, DirectoryGivesTheFirstListedMarkerFile) {
    make("r/b.zentor r/a.zentor r/c.zentorexp r/d.zentorproj target");
    const auto isMarker = [this](auto& entry) { return hasExtension(entry.path(), m_extensions); };
    const auto first = std::find_if(fs::directory_iterator(m_directory / "r"), {}, isMarker);
    EXPECT_EQ(findMarkerFileInDir(m_directory / "r", m_extensions), first->path().native());
    fs::create_directories(m_directory / "s/x.zentor");
    fs::create_symlink("nowhere", m_directory / "s/y.zentor");
    EXPECT_EQ(findMarkerFileInDir(m_directory / "s", m_extensions), "");
    fs::create_symlink("../target", m_directory / "s/z.zentor");
    EXPECT_EQ(findMarkerFileInDir(m_directory / "s", m_extensions), m_directory / "s/z.zentor");
}

TEST_F(Search, PathGivesMarkerFileOrLink) {
    make("r000/a.zentor none/text a.zentor a.zentorproj l.zentorlink both.zentorexplink "
         "both.zentorlink p.zentorprojlink dot.d.zentorlink mark.zentor r000.zentorlink zentor "
         "a.Zentor a.zentor.b in.zentor/a a.zentorLINK .zentorlink a.zentorlinklink b.c.zentorexp");
    fs::create_directory_symlink("r000", m_directory / "to");
    fs::create_directories(m_directory / "dir.zentorlink");
    // A link, named or beside a bare name; a bare name never gives a marker file.
    for (const auto& [name, hit] :
         rows<2>("r000 /r000/a.zentor; r000/. /r000/a.zentor; none/../r000 /r000/a.zentor;"
                 "to /to/a.zentor; a.zentor /a.zentor; l.zentorlink /l.zentorlink; l /l.zentorlink;"
                 "both /both.zentorlink; none; missing; mark; dot.d; zentor; a.Zentor; a.zentor.b;"
                 "in.zentor/a; a.zentorLINK; .zentorlink /.zentorlink; a.zentorlinklink; dir; p;"
                 "b.c.zentorexp /b.c.zentorexp; dir.zentorlink; a.zentorproj; p.zentorprojlink")) {
        setStatus(eUnknown);
        EXPECT_EQ(relative(findMarkerFileOrLink(m_directory / name, m_extensions, true)), hit);
        EXPECT_EQ(getStatus(), eOK) << name;
    }
    EXPECT_EQ(findMarkerFileOrLink(m_directory / "a.zentor", m_extensions, false), "");
    EXPECT_NE(findMarkerFileOrLink(m_directory / "l", m_extensions, false), "");
}

// Which names match, and how many are given at the most, is tried with groups, too.
TEST_F(Search, PatternGivesTheGreatestOfItsMatchesUnlessItIsAName) {
    make("r001/r001.zentor r011/text s1/s1.zentor r012 r003.zentorlink r005.zentorprojlink");
    EXPECT_EQ(found("r@/", eOK, 99), "/r001/r001.zentor /r003.zentorlink");
    EXPECT_EQ(found("q@", eNotFound), "");
    EXPECT_EQ(found("r@@@", eNotFound, 0, true), "") << "taken as a plain name";
    make("r@@@/odd.zentor r999/r999.zentor r1000/r1000.zentor");
    EXPECT_EQ(found("r@@@", eOK, 0, true), "/r@@@/odd.zentor");

    const auto last = [this](const std::string& pattern, const char* extension) {
        return relative(findLastMatching(pattern, m_path.c_str(), extension, false));
    };
    EXPECT_EQ(last("r@@@", ".zentor"), "/r999/r999.zentor");
    EXPECT_EQ(last(m_directory / "*", ".zentor"), "/s1/s1.zentor");
    EXPECT_EQ(last("r@@@", ""), "");
    EXPECT_EQ(getStatus(), eNotFound);
}

TEST_F(Search, StarGivesEveryNodeInTheOrderOfTheirBytes) {
    EXPECT_EQ(found("*", eNotFound), "");
    const std::string odd = "a b\n\xFF\xC3";
    make("r1/b.zentor e/c.zentorexp p/d.zentorproj a.zentorlink own.zentor \xFE/\xFE.zentor");
    const std::string hit = "/" + odd + "/" + odd + ".zentor";
    writeFile(m_path + hit, "");
    fs::create_symlink("nowhere", m_directory / "z.zentorlink");
    const std::string everything =
        hit + " /a.zentorlink /r1/b.zentor /e/c.zentorexp /\xFE/\xFE.zentor";
    EXPECT_EQ(found("*"), everything);
    EXPECT_EQ(found(""), everything);
    EXPECT_EQ(found("", eOK, 1), "/\xFE/\xFE.zentor");
    EXPECT_EQ(found(odd), hit);
}

TEST_F(Search, StatusTellsWhatIsWrong) {
    make("r1/a.zentor");
    fs::create_symlink("round", m_directory / "round");
    EXPECT_EQ(found("a:b", eReservedCharacters), "");
    EXPECT_EQ(found("r@.", eInvalidLastCharacter), "");
    EXPECT_EQ(found("/", eInvalidPath), "");
    EXPECT_EQ(found("a@b@", eParameterError), "");
    EXPECT_EQ(found("@@@@@@@@@", eParameterError), "");
    // With "link" the last is too long.
    for (const std::string& path : {std::string("missing/r@@@"), std::string("missing/*"),
                                    std::string("round"), std::string(252, 'x')}) {
        EXPECT_EQ(found(path, eNotFound), "");
    }
    EXPECT_THROW(found("r1/a.zentor/*"), fs::filesystem_error);

    // What was found before stays, and counts.
    FileSet hits("/x/before");
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
    make("r1/a.zentor r2/b.zentor closed/in/c.zentor group/r3/d.zentor p/e.zentorproj "
         "apart/f.zentor");
    fs::create_symlink("closed/in", m_directory / "r4");
    fs::create_symlink("closed/in/c.zentor", m_directory / "g.zentorlink");
    fs::create_symlink("../closed/in/c.zentor", m_directory / "apart/a.zentor");
    fs::permissions(m_directory / "closed", fs::no_perms);
    fs::permissions(m_directory / "r2", fs::owner_exe);
    fs::permissions(m_directory / "group", fs::owner_read | fs::others_read);
    support::asOrdinaryUser(m_directory.path(), [this] {
        EXPECT_EQ(found("*"), "/r1/a.zentor");
        EXPECT_EQ(found("r@"), "/r1/a.zentor");
        EXPECT_EQ(ProjectPathIterator(m_path.c_str()).getSize(), 1U);
        EXPECT_EQ(getStatus(), eOK);
        for (const std::string& path :
             words("r2 r4 closed/in closed/in/* closed/x group/* group/r@ apart g.zentorlink")) {
            EXPECT_THROW(found(path), fs::filesystem_error) << path;
        }
#ifndef __SANITIZE_ADDRESS__  // which needs descriptors itself to look at what is thrown
        const support::NoDescriptors none;
        EXPECT_THROW(found("*"), fs::filesystem_error);
#endif
    });
    for (const char* name : {"closed", "r2", "group"}) {
        fs::permissions(m_directory / name, fs::owner_all);
    }
}

}  // namespace
