#include "tools/jay/Suggestion.h"

#include <algorithm>

namespace {

constexpr std::size_t FARTHEST = 2;
constexpr std::size_t LONGEST = 40;  // nobody mistypes a longer word, and the time grows with the square

/** How many letters must be changed, added, left out or swapped with their neighbour to turn one word into the other. */
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); i++) {
        for (std::size_t j = 0; j <= b.size(); j++) {
            if (i == 0 || j == 0) {
                d[i][j] = i + j;
                continue;
            }
            const std::size_t changed = d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            d[i][j] = std::min({changed, d[i - 1][j] + 1, d[i][j - 1] + 1});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    }
    return d[a.size()][b.size()];
}

}  // namespace

std::string nearestWord(const std::string& typed, const std::vector<std::string>& words) {
    std::string nearest;
    if (typed.size() > LONGEST) return nearest;
    std::size_t least = FARTHEST + 1;
    for (const std::string& word : words) {
        const std::size_t far = distance(typed, word);
        if (far >= least || far >= word.size()) continue;  // so far that no letter is left is no typing error
        least = far;
        nearest = word;
    }
    return nearest;
}
