#pragma once
#include <string>
int makeDuplicateCorpus(const std::string &kind, const std::string &root);
