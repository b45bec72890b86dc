#pragma once

// A text whose reader can be stopped: for a matcher that tries ways without end, as that of the
// standard library does with patterns such as (a*)*b.
//
// Each character that is read through a place counts, and now and then the watch is asked whether
// the interpreter's run has been asked to end. One reading thread; the stop comes from any.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

class tvrscript;

// Thrown by reading on when the run has been asked to end.
struct tvr_reading_stopped {};

class tvr_reading_watch {
public:
    // Null for a reader that nobody stops.
    explicit tvr_reading_watch(const tvrscript* of) : script(of) {}

    void count() {
        if (--left == 0) [[unlikely]]
            look();
    }

private:
    static constexpr uint32_t interval = 4096;  // characters; some 50 µs

    void look();

    const tvrscript* script;
    uint32_t left = interval;
};

// An iterator over the characters of a text. Text and watch outlive it.
class tvr_text_place {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    tvr_text_place() = default;
    tvr_text_place(const char* place, tvr_reading_watch& by) : at(place), watch(&by) {}

    reference operator*() const {
        watch->count();
        return *at;
    }
    reference operator[](difference_type n) const { return *(*this + n); }

    tvr_text_place& operator+=(difference_type n) {
        at += n;
        return *this;
    }
    tvr_text_place& operator-=(difference_type n) { return *this += -n; }
    tvr_text_place& operator++() { return *this += 1; }
    tvr_text_place& operator--() { return *this -= 1; }
    tvr_text_place operator++(int) {
        const tvr_text_place before = *this;
        ++*this;
        return before;
    }
    tvr_text_place operator--(int) {
        const tvr_text_place before = *this;
        --*this;
        return before;
    }
    friend tvr_text_place operator+(tvr_text_place place, difference_type n) { return place += n; }
    friend tvr_text_place operator+(difference_type n, tvr_text_place place) { return place += n; }
    friend tvr_text_place operator-(tvr_text_place place, difference_type n) { return place -= n; }
    friend difference_type operator-(tvr_text_place a, tvr_text_place b) { return a.at - b.at; }
    friend bool operator==(tvr_text_place a, tvr_text_place b) { return a.at == b.at; }
    friend auto operator<=>(tvr_text_place a, tvr_text_place b) { return a.at <=> b.at; }

    // What lies between two places.
    friend std::string_view tvr_text_between(tvr_text_place begin, tvr_text_place end) {
        return {begin.at, size_t(end.at - begin.at)};
    }

private:
    const char* at = nullptr;
    tvr_reading_watch* watch = nullptr;
};
