// SPDX-License-Identifier: MIT
//
// Passes any bytes, split anywhere, to a LineReceiver. It delivers all lines in order, even if its
// observer makes it handle more bytes, makes it forget bytes, or deletes it.

#include <velutils++/line_receiver.h>

#include <vector>

#include "fuzz/input.h"

namespace {

class Lines : public LineReceiver {
  public:
    // Outlives the receiver.
    struct Model {
        long longest;
        Input* decisions;     // what the observer does; null: nothing
        std::string pending;  // passed in, and neither delivered nor forgotten
        bool deleted = false;
    };

    explicit Lines(Model& model) : LineReceiver(model.longest), model_(model) {}
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    // In their own block, so that the sanitizer reports an access beyond them.
    void feed(const std::string& bytes) {
        model_.pending += bytes;
        std::vector<char> piece(bytes.begin(), bytes.end());
        handleFifoData(nullptr, piece.data(), piece.size());
    }

    void handleLine(const String& line) override {
        const std::string expected = takeExpected();
        REQUIRE(!isBad(expected));
        REQUIRE(expected == std::string(line.buffer(), static_cast<size_t>(line.length())));
        act();
        REQUIRE(expected == line.buffer());  // the line outlives the receiver
    }
    void handleBadLine(long length) override {
        const std::string expected = takeExpected();
        REQUIRE(isBad(expected));
        REQUIRE(static_cast<long>(expected.size()) == length);
        act();
    }

  private:
    bool isBad(const std::string& line) const {
        return static_cast<long>(line.size()) > std::max(model_.longest, 0L) ||
               line.find('\0') != std::string::npos;
    }
    std::string takeExpected() {
        REQUIRE(!model_.deleted);
        const size_t newline = model_.pending.find('\n');
        REQUIRE(newline != std::string::npos);
        const std::string line = model_.pending.substr(0, newline);
        model_.pending.erase(0, newline + 1);
        return line;
    }
    void act() {
        if (model_.decisions == nullptr) return;
        switch (model_.decisions->below(16)) {
            case 0:
                forget();
                model_.pending.clear();
                break;
            case 1:
                model_.deleted = true;
                delete this;
                break;
            case 2:
            case 3:
                feed(model_.decisions->text(model_.decisions->below(40)));
                break;
            default:
                break;
        }
    }

    Model& model_;
};

void feedInPieces(const std::string& stream, size_t first, size_t next, long longest) {
    Lines::Model model = {longest, nullptr, "", false};
    Lines lines(model);
    lines.feed(stream.substr(0, first));
    for (size_t at = first; at < stream.size(); at += next) lines.feed(stream.substr(at, next));
    REQUIRE(model.pending.find('\n') == std::string::npos);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const long longest = static_cast<long>(input.below(40)) - 1;
    const std::string stream = Input(data, std::min(size, size_t{40})).rest();
    for (size_t cut = 0; cut <= stream.size(); ++cut)
        feedInPieces(stream, cut, stream.size(), longest);
    feedInPieces(stream, 0, 1, longest);

    Lines::Model model = {longest, &input, "", false};
    Lines* const lines = new Lines(model);
    while (!input.isEmpty() && !model.deleted) lines->feed(input.text(input.below(100)));
    if (model.deleted) return 0;
    REQUIRE(model.pending.find('\n') == std::string::npos);
    delete lines;
    return 0;
}
