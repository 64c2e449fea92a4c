// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

// CjsonValidate: reads and checks members of a JSON object that a client sent.
// Every check takes the object (null will do) and answers kValid, kInvalid or kAbsent. Outputs are touched on
// kValid only; texts that they point at belong to the object. Member names are looked up case-sensitively.
class CjsonValidate {
  public:
    static constexpr int kValid = 0;    // present and valid, or equal
    static constexpr int kInvalid = 1;  // another type, out of range, not among the allowed values, different
    static constexpr int kAbsent = 2;   // the member is absent or the object is null

    static int getAttributeString(const cJSON* object, const char* name, char** out);
    // One of the first `count` allowed texts; null entries of the list are skipped.
    static int getAttributeString(const cJSON* object, const char* name, char** out, const char** allowed,
                                  int count);
    static int validateAttributeString(const cJSON* object, const char* name, const char* expected);

    // Any number: its integer value is the one without the fraction, held within the range of an int.
    static int getAttributeInt(const cJSON* object, const char* name, int* out);
    static int getAttributeInt(const cJSON* object, const char* name, int* out, int min, int max);
    static int validateAttributeInt(const cJSON* object, const char* name, int expected);

    static int getAttributeDouble(const cJSON* object, const char* name, double* out);
    static int getAttributeDouble(const cJSON* object, const char* name, double* out, double min, double max);
    static int validateAttributeDouble(const cJSON* object, const char* name, double expected);

    static int getAttributeBoolean(const cJSON* object, const char* name, bool* out);
    static int validateAttributeBoolean(const cJSON* object, const char* name, bool expected);

    // kInvalid, not kAbsent, when the member is absent.
    static int validateAttributeIncluded(const cJSON* object, const char* name);
    static int validateAttributeNull(const cJSON* object, const char* name);
    // kInvalid on the first name that breaks the rule; kValid for a count below 1.
    static int validateIncluded(const cJSON* object, const char** names, int count);
    static int validateNotIncluded(const cJSON* object, const char** names, int count);

    // kAbsent when either object is null.
    static int compareCjsonObjects(const cJSON* a, const cJSON* b);
    // Expects the member in both objects.
    static int compareAttributes(const cJSON* a, const cJSON* b, const char* name);
    // Deep equality; the order of an object's members does not matter. Nothing equals null.
    static bool compareJSON(const cJSON* a, const cJSON* b);
};
