#include "motion_list/list_text.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace peers {
namespace {

using json = nlohmann::json;

constexpr const char* CUT = "a text with \\u0000 in it; the service reads it up to there only";

// Hands out the text and counts what was taken. The parser moves its own copy, so the count lies outside.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, size_t* taken) : at_(at), taken_(taken) {}
    reference operator*() const { return *at_; }
    CountingIterator& operator++()
    {
        ++at_;
        ++*taken_;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
    bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

private:
    const char* at_;
    size_t* taken_;
};

// Asked for places in ascending order, so that the text is walked through once.
class Places {
public:
    explicit Places(std::string_view text) : text_(text) {}
    text_place_t of(size_t offset)
    {
        for (; seen_ < std::min(offset, text_.size()); seen_++) {
            place_.column++;
            if (text_[seen_] == '\n') place_ = {place_.line + 1, 1};
        }
        return place_;
    }

private:
    const std::string_view text_;
    size_t seen_ = 0;
    text_place_t place_;
};

// The parser's events, with the places that it does not tell: a value begins where the blanks behind the token before
// it end.
class TreeBuilder : public nlohmann::json_sax<json> {
public:
    TreeBuilder(std::string_view text, list_text_t& to) : text_(text), places_(text), to_(to) {}

    bool read();

    bool null() override { return take(node_kind::null, "null"); }
    bool boolean(bool value) override { return take(value ? node_kind::yes : node_kind::no, value ? "true" : "false"); }
    bool number_integer(number_integer_t value) override { return take_number(static_cast<double>(value)); }
    bool number_unsigned(number_unsigned_t value) override { return take_number(static_cast<double>(value)); }
    bool number_float(number_float_t value, const string_t&) override { return take_number(value); }
    bool string(string_t& value) override;
    bool binary(binary_t&) override { return false; }
    bool start_object(size_t) override { return open(node_kind::object); }
    bool start_array(size_t) override { return open(node_kind::list); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t& value) override;
    bool parse_error(size_t position, const std::string& token, const nlohmann::detail::exception& error) override;

private:
    list_node_t& add(node_kind kind);
    bool take(node_kind kind, const std::string& what);
    bool take_number(double value);
    bool open(node_kind kind);
    bool close();
    bool stop(size_t offset, const std::string& reason);
    size_t next_token();

    const std::string_view text_;
    Places places_;
    list_text_t& to_;
    std::vector<list_node_t*> open_;  // innermost last
    std::string key_;
    text_place_t key_place_;
    size_t taken_ = 0;  // by the parser
    size_t end_ = 0;    // of the token before
};

bool TreeBuilder::read()
{
    if (text_.starts_with("\xef\xbb\xbf")) end_ = 3;
    const CountingIterator begin(text_.data(), &taken_);
    return json::sax_parse(begin, CountingIterator(text_.data() + text_.size(), &taken_), this);
}

size_t TreeBuilder::next_token()
{
    const size_t found = text_.find_first_not_of(" \t\r\n,:", end_);
    return std::min(found, text_.size());
}

list_node_t& TreeBuilder::add(node_kind kind)
{
    list_node_t& node = open_.empty() ? to_.root : open_.back()->children.emplace_back();
    node.key = std::exchange(key_, "");
    node.key_place = key_place_;
    node.kind = kind;
    node.place = places_.of(next_token());
    return node;
}

bool TreeBuilder::take(node_kind kind, const std::string& what)
{
    add(kind).text = what;
    end_ = taken_;
    return true;
}

// The parser has read the letter behind a number, too.
bool TreeBuilder::take_number(double value)
{
    const size_t begin = next_token();
    const size_t end = std::min(text_.find_first_not_of("+-.0123456789eE", begin), text_.size());
    if (end - begin > NUMBER_LETTERS) {
        return stop(begin, "a number of " + std::to_string(end - begin) +
                               " letters; the service reads 63 at most and takes the whole list for empty");
    }
    list_node_t& node = add(node_kind::number);
    node.number = value;
    node.text = text_.substr(begin, end - begin);
    end_ = end;
    return true;
}

bool TreeBuilder::open(node_kind kind)
{
    if (open_.size() >= LIST_DEPTH) {
        return stop(next_token(), "nested deeper than " + std::to_string(LIST_DEPTH) +
                                      " levels: the service takes the whole list for empty");
    }
    open_.push_back(&add(kind));
    end_ = taken_;
    return true;
}

bool TreeBuilder::close()
{
    open_.pop_back();
    end_ = taken_;
    return true;
}

bool TreeBuilder::string(string_t& value)
{
    if (value.find('\0') != std::string::npos) return stop(next_token(), CUT);
    return take(node_kind::text, value);
}

bool TreeBuilder::key(string_t& value)
{
    if (value.find('\0') != std::string::npos) return stop(next_token(), CUT);
    key_ = value;
    key_place_ = places_.of(next_token());
    end_ = taken_;
    return true;
}

bool TreeBuilder::stop(size_t offset, const std::string& reason)
{
    to_.problem = {places_.of(offset), reason};
    return false;
}

// The library's words behind its own head and position.
std::string reason_of(const std::string& what)
{
    const size_t at = what.find("syntax error");
    return at == std::string::npos ? what : what.substr(at);
}

bool TreeBuilder::parse_error(size_t position, const std::string& token, const nlohmann::detail::exception& error)
{
    constexpr int OUT_OF_RANGE = 406;
    if (error.id == OUT_OF_RANGE)
        return stop(next_token(), token + " is greater than any number; the service takes it for infinite");
    if (next_token() == text_.size() && open_.empty() && end_ == 0)
        return stop(0, "there is nothing in it; the service takes it for an empty list");
    return stop(position == 0 ? 0 : position - 1, "this is no JSON: " + reason_of(error.what()));
}

}  // namespace

const list_node_t* list_node_t::first(std::string_view wanted) const
{
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const list_node_t& one) { return one.key == wanted; });
    return kind != node_kind::object || found == children.end() ? nullptr : &*found;
}

const list_node_t* list_node_t::last(std::string_view wanted) const
{
    const auto found =
        std::find_if(children.rbegin(), children.rend(), [&](const list_node_t& one) { return one.key == wanted; });
    return kind != node_kind::object || found == children.rend() ? nullptr : &*found;
}

std::string list_node_t::shown() const
{
    constexpr size_t LONGEST = 40;
    if (kind == node_kind::object) return "an object";
    if (kind == node_kind::list) return "a list";
    const std::string all =
        kind == node_kind::text ? json(text).dump(-1, ' ', false, json::error_handler_t::replace) : text;
    return all.size() <= LONGEST ? all : all.substr(0, LONGEST) + "…";
}

list_text_t read_list_text(std::string_view text)
{
    list_text_t result;
    if (text.size() > LIST_BYTES) {
        result.problem = {{}, "more than 4 MiB: the service takes it for an empty list"};
        return result;
    }
    TreeBuilder(text, result).read();
    return result;
}

}  // namespace peers
