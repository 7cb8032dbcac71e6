// SPDX-License-Identifier: MIT
//
// velutils status list: prints the tree in one of three formats.

#include <errno.h>
#include <fcntl.h>

#include "report.h"
#include "status_commands.h"
#include "status_entry.h"
#include "status_format.h"
#include "status_name.h"

namespace {

// Prints a message for what cannot be read, and goes on.
class Listing : public Visitor {
  public:
    explicit Listing(const Request& request) : request_(request) {}

    void visit(const std::string& name, const Entry& entry) override {
        if (entry.kind == Entry::NONE || entry.kind == Entry::OTHER) return;
        isFound_ = true;
        if (request_.json)
            putMember(name, entry);
        else if (!request_.prometheus)
            put({lineOf(name, entry), "\n"});
        else if (!prometheus_.add(name, entry))
            status_ = failed(name, "another entry has this name in UTF-8");
    }

    void fail(const std::string& name, int error) override {
        isFound_ = true;
        status_ = failed(name, error);
    }

    bool enter(int, const std::string&) override {
        isFound_ = true;
        return true;
    }

    // Completes the output. Returns the exit status.
    int end() {
        if (request_.json) put({isFirst_ ? "{}\n" : "}\n"});
        if (request_.prometheus) put({prometheus_.text()});
        return status_;
    }

    bool isFound() const { return isFound_; }

  private:
    void putMember(const std::string& name, const Entry& entry) {
        put({isFirst_ ? "{" : ",\n", jsonMemberOf(name, entry)});
        isFirst_ = false;
    }

    const Request& request_;
    PrometheusText prometheus_;
    bool isFirst_ = true;
    bool isFound_ = false;
    int status_ = DONE;
};

// Follows links on the way to the entry, but not the entry itself.
void listEntry(const std::string& base, const std::string& name, Visitor* visitor) {
    const size_t slash = name.rfind('/');
    const std::string parent = joined({base, name.substr(0, slash)});
    const Descriptor directory(open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        walkEntry(directory.get(), name.substr(slash + 1), name, visitor);
    else if (errno != ENOENT && errno != ENOTDIR)
        visitor->fail(name, errno);
}

int listBase(const std::string& base, Listing* listing) {
    const Descriptor directory(open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        walkDirectory(directory.get(), "", listing);
    else if (errno != ENOENT)
        return failed(base, errno);
    return listing->end();
}

}  // namespace

int statusList(const Request& request) {
    if (request.json && request.prometheus)
        return wrongUsage(request, "--json and --prometheus exclude each other");
    const std::string given = request.operandCount > 0 ? request.operands[0] : "/";
    if (!isNameUsable(given)) return FAILED;
    const std::string name = normalized(given);
    if (name.empty() && request.base == STATUS_BASE_PROC)
        return wrongUsage(request, "-b proc needs a NAME");

    Listing listing(request);
    const std::string base = directoryOf(request.base);
    if (name.empty()) return listBase(base, &listing);
    if (!hasTemporary(name)) listEntry(base, name, &listing);
    return listing.isFound() ? listing.end() : NO;
}
