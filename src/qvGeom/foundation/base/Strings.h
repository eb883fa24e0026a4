/// \file
/// Text values: narrow strings, unicode strings and file names.
#pragma once

#include <compare>
#include <string>
#include <utility>

namespace qvString {

/// A narrow string, as used for names and formatted text.
class CString {
public:
    CString() = default;

    /// Copies the text; null gives the empty string.
    CString(const char* text) : text_(text ? text : "") {}

    CString(std::string text) : text_(std::move(text)) {}

    const char* c_str() const { return text_.c_str(); }

    const std::string& str() const { return text_; }

    int size() const { return static_cast<int>(text_.size()); }

    bool empty() const { return text_.empty(); }

    CString& operator+=(const CString& tail) { return text_ += tail.text_, *this; }

    friend bool operator==(const CString&, const CString&) = default;
    friend std::strong_ordering operator<=>(const CString&, const CString&) = default;

private:
    std::string text_;
};

/// Unicode text, held as UTF-8.
class IString {
public:
    IString() = default;

    /// Takes UTF-8; null gives the empty string.
    IString(const char* text) : text_(text) {}

    IString(std::string text) : text_(std::move(text)) {}

    IString(CString text) : text_(std::move(text)) {}

    /// The text in the platform's default narrow encoding, which is UTF-8.
    const CString& asMultibyte() const { return text_; }

    bool empty() const { return text_.empty(); }

    friend bool operator==(const IString&, const IString&) = default;
    friend std::strong_ordering operator<=>(const IString&, const IString&) = default;

private:
    CString text_;
};

} // namespace qvString

namespace qvOS {

/// The path of a file. Any kind of text converts to it, so that callers may pass
/// a literal where a file name is wanted.
class Filename {
public:
    Filename() = default;

    Filename(const char* path) : path_(path) {}

    Filename(std::string path) : path_(std::move(path)) {}

    Filename(qvString::CString path) : path_(std::move(path)) {}

    Filename(qvString::IString path) : path_(std::move(path)) {}

    const qvString::IString& asIString() const { return path_; }

    /// The path as the operating system's calls take it.
    const qvString::CString& asMultibyte() const { return path_.asMultibyte(); }

    bool empty() const { return path_.empty(); }

    friend bool operator==(const Filename&, const Filename&) = default;
    friend std::strong_ordering operator<=>(const Filename&, const Filename&) = default;

private:
    qvString::IString path_;
};

} // namespace qvOS
