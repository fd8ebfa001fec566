#pragma once
/// Passes one output stream of a program on and keeps a copy.

#include <poll.h>

#include <array>
#include <string_view>

#include "basekit2/descriptor.h"
#include "collector/record_file.h"

namespace cli {

/// One stream. Never blocks: the collector must go on sampling while the reader is slow.
class Tee {
public:
    /// What the program writes to `writeEnd` goes to `target` and to `copy`.
    Tee(int target, RecordFile& copy);

    [[nodiscard]] int writeEnd() const { return m_writeEnd.get(); }
    /// Once the program has its own copy.
    void closeWriteEnd() { m_writeEnd.close(); }

    /// What to wait for next; a negative descriptor when the stream has ended.
    [[nodiscard]] pollfd interest() const;
    /// Does what can be done after such a wait.
    void advance();
    /// Passes on what the program had written before it ended. What processes that it left behind
    /// write afterwards is not waited for.
    void finish();
    /// Why something could not be passed on, as an `errno` value; 0 also when the reader has gone.
    [[nodiscard]] int error() const { return m_error; }

private:
    void readSome(std::size_t most);
    /// False when the reader has gone.
    bool writeSome();

    /// A pipe that poll reports as writable takes this much without blocking.
    static constexpr std::size_t pieceSize = 4096;

    int m_target;
    RecordFile& m_copy;
    basekit2::descriptor_t m_readEnd;
    basekit2::descriptor_t m_writeEnd;
    std::array<char, pieceSize> m_piece{};
    std::string_view m_pending;
    int m_error = 0;
};

}  // namespace cli
