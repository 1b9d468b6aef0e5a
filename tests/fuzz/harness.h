// What every fuzz target shares: the reader that takes a fuzzed input apart, and the program
// started once per process and put back to its start-up state around each input.
//
// A target defines LLVMFuzzerTestOneInput and nothing else. Built with clang and KORVEL_FUZZ
// it is a libFuzzer binary; built with any compiler without it, replay_main.cpp runs the same
// entry over files, which is how the kept inputs run in the ordinary test suite.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/temp_dir.h"

namespace fuzzing {

// Takes an input apart from its front: single bytes, fields ended by a separator, counted
// pieces, the rest. Reading past the end gives zeros and empty texts, never an error, so every
// input means something.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    bool Empty() const { return at_ >= size_; }
    uint8_t Byte() { return Empty() ? 0 : data_[at_++]; }
    // The bytes up to the next `separator` (which is consumed) or the end.
    std::string Field(char separator = '\n');
    // A piece of `length` bytes, or what is left.
    std::string Bytes(size_t length);
    // A piece whose length is the next byte.
    std::string Counted() { return Bytes(Byte()); }
    std::string Rest() { return Bytes(size_ - at_); }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

// The option bits of a target are taken from the low nibble of the first byte, so that a seed
// can begin with a printable '0' to '?'.
inline unsigned Options(Input& in) { return in.Byte() & 0x0F; }

// Starts the program's platform once per process: a private working directory (removed at
// exit) and a front end that drops what it is shown.
void StartOnce();
// The working directory of this process (absolute).
const std::string& WorkDir();

// Before an input: into the working directory, emptied; every process-wide table at its
// start-up state, the main window created, a fake clock. After an input: everything the input
// opened is closed and the tables are put back, so nothing carries over to the next input and
// no memory is left behind; back to the directory the process started in.
void BeginInput();
void EndInput();

// What the program printed on its console since the last call (or the start of the input).
std::string TakeConsole();

// Writes a file of the working directory (name relative to it), creating it afresh.
using testing_support::WriteFile;
void MakeDir(const std::string& name);

}  // namespace fuzzing
