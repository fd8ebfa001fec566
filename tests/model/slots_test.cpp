#include <cstddef>
#include <cstring>
#include <numeric>

#include "model_test.h"

// Other programs call these interfaces by the place of an operation in the table of virtual
// functions. A pointer to a virtual member holds that place: 1 plus its offset in the table.

namespace {

template <class Member>
int slotOf(Member member) {
    struct {
        std::ptrdiff_t function;
        std::ptrdiff_t adjustment;
    } raw{};
    static_assert(sizeof raw == sizeof member);
    std::memcpy(&raw, &member, sizeof raw);
    const auto width = static_cast<std::ptrdiff_t>(sizeof(void*));
    return raw.function % 2 == 1 ? static_cast<int>((raw.function - 1) / width) : -1;
}

template <class... Members>
void expectSlots(int first, Members... members) {
    std::vector<int> expected(sizeof...(members));
    std::iota(expected.begin(), expected.end(), first);
    EXPECT_EQ((std::vector<int>{slotOf(members)...}), expected);
}

template <class T>
using AddNamed = vesta2::error_t (T::*)(const char*, sptr_t<IFlagData>&, bool);
template <class T>
using Add = vesta2::error_t (T::*)(const char*, bool);

TEST(Slots, StayWhereOtherProgramsCallThem) {
    using N = Node;
    // The destructor has the first two.
    expectSlots(2, &N::asINode, &N::add_ref, &N::release, &N::getPath, &N::getFilesCount,
                &N::getSize, &N::getMarkerFilePath, &N::changeMarkerFilePath,
                &N::getUserVisibleName, &N::changeUserVisibleName, &N::getParent, &N::setParent,
                &N::getProject, &N::getNodeGroup, &N::getPropertyStorage, &N::save, &N::isModified,
                &N::getCreationTime, &N::getTransientStorage, &N::isLinked, &N::isMissing,
                &N::isLinkStale, &N::isReadOnly, &N::setReadOnly, &N::setRemoveOnClose, &N::setFlag,
                AddNamed<N>(&N::addFlag), Add<N>(&N::addFlag), &N::clearFlag, &N::removeFlag,
                &N::ownFlag, &N::getLinkFilePath);
    using I = INode;
    expectSlots(0, &I::add_ref, &I::release, &I::get_type);
    // The destructor has the next two.
    expectSlots(5, &I::getPath, &I::getMarkerFilePath, &I::getSize, &I::getFilesCount,
                &I::changeMarkerFilePath, &I::getUserVisibleName, &I::changeUserVisibleName,
                &I::getParent, &I::setParent, &I::getProject, &I::getNodeGroup,
                &I::getPropertyStorage, &I::save, &I::isModified, &I::getCreationTime,
                &I::getTransientStorage, &I::isLinked, &I::isMissing, &I::isLinkStale,
                &I::isReadOnly, &I::setReadOnly, &I::setRemoveOnClose, &I::remove, &I::setFlag,
                AddNamed<I>(&I::addFlag), Add<I>(&I::addFlag), &I::clearFlag, &I::removeFlag,
                &I::ownFlag, &I::getLinkFilePath, &I::copy, &I::move, &I::duplicate);
    using R = IResultDirectory;
    using ByName = const char* (R::*)(const char*);
    using ByKind = const char* (R::*)(standard_dir_t);
    expectSlots(slotOf(&I::duplicate) + 1, &R::isFinalized, &R::setFinalized, &R::isValid,
                &R::setInvalid, &R::createCollectorDataDir, &R::getCollectorDataDirectories,
                &R::getResultFiles, ByName(&R::getSubdir), ByKind(&R::getSubdir), &R::exportTo,
                &R::getCreationHostName, &R::getCreationOs, &R::getMpiRank, &R::getCollectorCommand,
                &R::setCollectorCommand, &R::getCollectionTimeBegin, &R::setCollectionTimeBegin,
                &R::getCollectionTimeEnd, &R::setCollectionTimeEnd, &R::getFinalizationTimeBegin,
                &R::setFinalizationTimeBegin, &R::getFinalizationTimeEnd,
                &R::setFinalizationTimeEnd, &R::getLogicalCPUCount, &R::getCPUFrequency,
                &R::getApplicationLog, &R::setApplicationLog, &R::getCollectorLog,
                &R::setCollectorLog, &R::getCommandLog, &R::setCommandLog);
    using G = INodeGroup;
    expectSlots(5, &G::getPath, &G::getNodePaths, &G::getNodes, &G::addNode, &G::purge, &G::isEmpty,
                &G::createResultDirectory, &G::openResultDirectory, &G::createExperiment,
                &G::openExperiment, &G::createProject, &G::openProject, &G::getNode,
                &G::setOutputDirectory, &G::getOutputDirectory);
    expectSlots(5, &IPathIterator::getSize, &IPathIterator::next);
}

}  // namespace
