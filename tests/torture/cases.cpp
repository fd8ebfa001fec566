#include "cases.h"

#include <cstdlib>
#include <stdexcept>

#include "support/command.h"

namespace torture {

const std::vector<Case>& cases() {
    static const std::vector<Case> all{
        {"list -r p", "partly"},
        {"list -l p", "partly"},
        {"show p/r000", "partly"},
        {"show p/x0.zentorlink", "partly"},
        {"diff p/r000 p/r001"},
        {"files p/r000"},
        {"import p/r000 --ext zentor"},
        {"flag run p/r000 busy -- true"},
        {"set p/r000 key=new"},
        {"set p/x0.zentorlink key=new"},
        {"add far/y0 --to p"},
        {"unlink p/x0.zentorlink", "unlinks"},
        {"copy p/r000 p/c0"},
        {"copy far/x0 far/c0"},
        {"move p/r001 far/m0", "", "far/m0", "p/r001/collector.log"},
        {"move far/x0 far/m0"},
        {"duplicate p/r000 far/d0"},
        {"duplicate p/e far/d0"},
        {"export p/r000 far/ex --exclude *.csv"},
        {"remove -y p/r001"},
        {"remove -y far/x0"},
        {"remove -y p/e"},
        {"purge p --keep 1 -y", "others"},
        {"finalize p/open"},
        {"invalidate p/open", "elsewhere unflushed"},
        // The next number is taken when a directory could not be made.
        {"collect -q --interval 3600000 --into p -- true", "elsewhere repairable", "p/r002",
         "p/r002/.norun"},
        {"create result r@@@ --into p", "elsewhere repairable"},
        {"create project far/n", "repairable"},
        {"get p/n", "repairable"},
        {"rename p/r000 q"},
        {"rename far/x0 q"},
        {"relink p/x0.zentorlink far/x9"},
    };
    return all;
}

void copyTree(const std::string& from, const std::string& to) {
    if (std::system(("rm -rf " + to + " && cp -a " + from + " " + to).c_str()) != 0) {
        throw std::runtime_error("cannot copy " + from);
    }
}

void makeSample(const std::string& root) {
    // Listed at the end, which brings the link in line with what was saved last.
    const std::string script = R"sh(
        mkdir far
        "$0" create project p
        "$0" create experiment e --into p
        "$0" set p identity=project
        "$0" set p/e identity=group
        for node in p/r000 p/r001 p/e/r000 far/x0 far/y0; do
            "$0" collect -q --into "${node%/*}" --name "${node##*/}" -- true
        done
        "$0" create result open --into p
        for node in p/open p/r000 p/r001 p/e/r000 far/x0 far/y0; do
            "$0" set "$node" key=old identity="$(echo "$node" | tr 01 ab)"
            mkdir -p "$node/data.0"
            yes "$node" | tr 01 ab | head -c 10000 >"$node/data.0/payload"
        done
        "$0" add far/x0 --to p
        "$0" list -r p)sh";
    const support::CommandResult result =
        support::Command({"-ec", script, VESTA2_COMMAND}, {root, {}, 0, "sh"}).finish();
    if (result.code != 0) {
        throw std::runtime_error("cannot make the sample: " + result.err);
    }
}

}  // namespace torture
