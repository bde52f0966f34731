// A stream's conversion between wide characters and the code page of a named locale.
#pragma once

#include <cwchar>
#include <locale>
#include <string>

namespace tools2 {

// Converts by the platform's code page where every wide character takes one byte of it, and leaves
// the rest to the C++ library's own conversion for that locale. The locale is looked up anew in
// each conversion, so that facets share nothing between threads; the process's locale is neither
// asked nor changed.
//
// The empty name stands for the user's locale. A name that the C++ library does not know has the
// library's "C" conversion for the rest.
class CustomTCodeCvtWcharToChar : public std::codecvt_byname<wchar_t, char, std::mbstate_t> {
  public:
    // `refs` as in std::locale::facet: 0 if a std::locale is to own the facet.
    explicit CustomTCodeCvtWcharToChar(const std::string& localeName, std::size_t refs = 0);
    ~CustomTCodeCvtWcharToChar() override;

  protected:
    using Base = std::codecvt_byname<wchar_t, char, std::mbstate_t>;

    // The most bytes that a character takes in the locale.
    int do_max_length() const noexcept override;
    result do_in(state_type& state, const extern_type* from, const extern_type* fromEnd,
                 const extern_type*& fromNext, intern_type* to, intern_type* toEnd,
                 intern_type*& toNext) const override;
    // Takes code page 437 where the locale has none. A character that the code page lacks goes to
    // the C++ library.
    result do_out(state_type& state, const intern_type* from, const intern_type* fromEnd,
                  const intern_type*& fromNext, extern_type* to, extern_type* toEnd,
                  extern_type*& toNext) const override;

  private:
    std::string localeName_;
};

}  // namespace tools2
