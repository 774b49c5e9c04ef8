#ifndef JAY_TOOLS_JAY_SUGGESTION_H
#define JAY_TOOLS_JAY_SUGGESTION_H

#include <string>
#include <vector>

/** The word that was probably meant: the nearest one, at most two letters changed, added, missing or swapped; empty if no word is
 * that near. */
std::string nearestWord(const std::string& typed, const std::vector<std::string>& words);

#endif
