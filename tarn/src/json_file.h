// One JSON configuration file: reading it, and complaining about it in one line that says where, what was found and
// what to write instead.
#pragma once

#include <cjson/cJSON.h>

#include <initializer_list>
#include <memory>

namespace tarn {

struct json_delete {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using json_tree = std::unique_ptr<cJSON, json_delete>;

class json_file {
public:
    // `example`: what a complaint names as the place to look up a complete file. Neither text is copied.
    json_file(const char* path, const char* example) : path_(path), example_(example) {}

    // Reads and parses. 0; -ENOENT or another negative errno of reading (silent: the caller knows whether the file may
    // be missing); -EINVAL: no JSON (complained about, with the line).
    int load();
    const cJSON* root() const { return tree_.get(); }

    // "<path>: <key>: found <value>, <wanted>; see <example> ...", or "missing" for a null value. Returns -EINVAL.
    int complain(const char* key, const cJSON* found, const char* wanted) const;
    // "<path>: <text>; see <example> ...". Returns -EINVAL.
    int complain(const char* text) const;

    // Refuses members of `object` that are not among `known`, so that a misspelt key is not taken for an absent one. A
    // member "comment" is always welcome. `where` is the object's own key for the message, "" for the root.
    int check_keys(const cJSON* object, const char* where, std::initializer_list<const char*> known) const;

private:
    int complain_syntax(const char* text, const char* position) const;

    const char* path_;
    const char* example_;
    json_tree tree_;
};

}  // namespace tarn
