#pragma once
/// The object behind `IResultDirectory`, which tells what its operations do.
///
/// Made by the library alone: to get one, use the operations of `IResultDirectory` and
/// `ResultDirectoryManager`. For one thread at a time, as every node; handles may be dropped on
/// any.

#include <string>

#include "vesta2/export.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/node_facade.h"

namespace vesta2 {

/// A node by its base `Node`; its state is told by marks in its directory.
class VESTA2_API ResultDirectory : public NodeFacade<IResultDirectory> {
public:
    ResultDirectory(std::string path, const char* parentGroupPath);

    bool remove() override;
    basekit2::sptr_t<INode> duplicate(const char* path) const override;

    bool isFinalized() override;
    bool setFinalized(bool finalized) override;
    bool isValid() override;
    void setInvalid() override;
    const char* createCollectorDataDir() override;
    basekit2::sptr_t<IPathIterator> getCollectorDataDirectories() override;
    basekit2::sptr_t<IPathIterator> getResultFiles(const char* mask) override;
    const char* getSubdir(const char* name) override;
    const char* getSubdir(standard_dir_t directory) override;
    basekit2::sptr_t<IResultDirectory> exportTo(const char* destination,
                                                const char* exclusions) override;

    const char* getCreationHostName() override;
    const char* getCreationOs(bool pretty) override;
    int getMpiRank() override;
    const char* getCollectorCommand() override;
    void setCollectorCommand(const char* command) override;
    long getCollectionTimeBegin() override;
    void setCollectionTimeBegin(long time) override;
    long getCollectionTimeEnd() override;
    void setCollectionTimeEnd(long time) override;
    long getFinalizationTimeBegin() override;
    void setFinalizationTimeBegin(long time) override;
    long getFinalizationTimeEnd() override;
    void setFinalizationTimeEnd(long time) override;
    int getLogicalCPUCount() override;
    long long getCPUFrequency() override;
    std::string getApplicationLog() override;
    void setApplicationLog(const char* name) override;
    std::string getCollectorLog() override;
    void setCollectorLog(const char* name) override;
    std::string getCommandLog() override;
    void setCommandLog(const char* name) override;

private:
    error_t markInvalid();
    void changeText(const char* property, const char* value);
    void changeTime(const char* property, long value);
    std::string logPath(const char* property, const char* usualName);

    bool m_finalized;
    bool m_valid;
    std::string m_collectorDataDir;
    std::string m_subdir;
};

}  // namespace vesta2
