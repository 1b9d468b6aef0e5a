// A test fixture with the program's real main window (class "wins2", procedure MainWin) and a
// front end that records what the program shows: printed text, message boxes, drawn cells.
// Every process-wide table (and the real clock) is put back to its start-up state before and
// after each test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/frontend.h"
#include "platform/wintypes.h"
#include "support/program_state.h"

namespace testing_support {

class RecordingFrontEnd : public platform::FrontEnd {
public:
    void InitialClientSize(int& w, int& h) override {
        w = width;
        h = height;
    }
    void Printed(const char* text, size_t length) override { printed.append(text, length); }
    int MessageBox(HWND, const char* text, const char* caption, UINT) override {
        boxes.push_back(std::string(caption) + ": " + text);
        return 1;
    }
    void TextOut(HWND, int x, int y, const char* text, int count) override {
        draws.push_back({x, y, std::string(text, (size_t)count)});
    }
    void ShowHelp(const char* file) override { help.push_back(file); }
    bool DrawsWindows() const override { return drawsWindows; }

    struct Draw {
        int x, y;
        std::string text;
    };
    std::string printed;
    std::vector<std::string> boxes;
    std::vector<Draw> draws;
    std::vector<std::string> help;
    int width = 120, height = 25;
    bool drawsWindows = true;  // false: as headless, the console stores without drawing
};

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the main window as start-up does (its WM_CREATE and first WM_SIZE run).
    void CreateMainWindow(int cellsWide = 120, int cellsHigh = 25);
    // Dispatches queued messages until none is left (at most `limit`).
    void Pump(int limit = 10000) { PumpMessages(limit); }
    // The text of console row r, trailing blanks removed.
    std::string Row(int r) const;
    // What the program printed since the last call, and forgets it.
    std::string TakePrinted() {
        std::string text;
        text.swap(frontEnd.printed);
        return text;
    }

    RecordingFrontEnd frontEnd;
};

// A ShellTest whose main window is created as start-up creates it, with nothing printed yet.
class MainWindowTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        CreateMainWindow();
        frontEnd.printed.clear();
    }
};

}  // namespace testing_support
