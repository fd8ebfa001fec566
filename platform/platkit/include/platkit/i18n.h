#pragma once
/// Message catalogs: texts for people, looked up by key.

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace platkit::i18n {

/// What fills the places "{0}", "{1}", ... of a message.
using varg_list = std::vector<std::string>;

/// A message as the catalog holds it.
class message_t {
public:
    explicit message_t(std::string text) : m_text(std::move(text)) {}

    /// The text in UTF-8, with its places filled. A place without an argument stays as it is.
    [[nodiscard]] std::string as_ustring(const varg_list& arguments) const;

private:
    std::string m_text;
};

/// Texts by key. Read-only once filled, and then safe to use from several threads.
class catalog_t {
public:
    void add(std::string key, std::string text) { m_texts[std::move(key)] = std::move(text); }

    /// The message of `key`; the key itself when the catalog has none.
    [[nodiscard]] message_t message(const std::string& key) const;

private:
    std::unordered_map<std::string, std::string> m_texts;
};

}  // namespace platkit::i18n
