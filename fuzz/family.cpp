// The family of exports that a fuzz target calls.
extern const char* const fuzzedFamily;
const char* const fuzzedFamily = KXCALC_FUZZED_FAMILY;
