// SPDX-License-Identifier: MIT

#include "src/rest/CjsonValidate.h"

#include <cstring>

namespace {

const cJSON* find_member(const cJSON* object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

int result_of(bool valid) {
    return valid ? CjsonValidate::kValid : CjsonValidate::kInvalid;
}

// Looks the member up and checks its type; it is set on kValid only.
int find_typed(const cJSON* object, const char* name, cJSON_bool (*is_type)(const cJSON*),
               const cJSON** member) {
    const cJSON* const found = find_member(object, name);
    if (found == nullptr) {
        return CjsonValidate::kAbsent;
    }
    if (is_type(found) == 0) {
        return CjsonValidate::kInvalid;
    }
    *member = found;
    return CjsonValidate::kValid;
}

bool compare_arrays(const cJSON* a, const cJSON* b) {
    const cJSON* left = a->child;
    const cJSON* right = b->child;
    while (left != nullptr && right != nullptr && CjsonValidate::compareJSON(left, right)) {
        left = left->next;
        right = right->next;
    }
    return left == nullptr && right == nullptr;
}

bool compare_objects(const cJSON* a, const cJSON* b) {
    for (const cJSON* member = a->child; member != nullptr; member = member->next) {
        if (!CjsonValidate::compareJSON(member, find_member(b, member->string))) {
            return false;
        }
    }
    for (const cJSON* member = b->child; member != nullptr; member = member->next) {
        const cJSON* const other = find_member(a, member->string);
        // What the first pass has compared is not compared again: the work would double with every level.
        const bool compared = find_member(b, member->string) == member;
        if (other == nullptr || (!compared && !CjsonValidate::compareJSON(other, member))) {
            return false;
        }
    }
    return true;
}

}  // namespace

int CjsonValidate::getAttributeString(const cJSON* object, const char* name, char** out) {
    const cJSON* member = nullptr;
    const int result = find_typed(object, name, cJSON_IsString, &member);
    if (result == kValid) {
        *out = member->valuestring;
    }
    return result;
}

int CjsonValidate::getAttributeString(const cJSON* object, const char* name, char** out, const char** allowed,
                                      int count) {
    char* text = nullptr;
    const int result = getAttributeString(object, name, &text);
    if (result != kValid) {
        return result;
    }
    for (int i = 0; i < count; ++i) {
        if (allowed[i] != nullptr && std::strcmp(text, allowed[i]) == 0) {
            *out = text;
            return kValid;
        }
    }
    return kInvalid;
}

int CjsonValidate::validateAttributeString(const cJSON* object, const char* name, const char* expected) {
    char* text = nullptr;
    const int result = getAttributeString(object, name, &text);
    return result == kValid ? result_of(std::strcmp(text, expected) == 0) : result;
}

int CjsonValidate::getAttributeInt(const cJSON* object, const char* name, int* out) {
    const cJSON* member = nullptr;
    const int result = find_typed(object, name, cJSON_IsNumber, &member);
    if (result == kValid) {
        *out = member->valueint;
    }
    return result;
}

int CjsonValidate::getAttributeInt(const cJSON* object, const char* name, int* out, int min, int max) {
    int value = 0;
    const int result = getAttributeInt(object, name, &value);
    if (result != kValid) {
        return result;
    }
    if (value < min || value > max) {
        return kInvalid;
    }
    *out = value;
    return kValid;
}

int CjsonValidate::validateAttributeInt(const cJSON* object, const char* name, int expected) {
    int value = 0;
    return getAttributeInt(object, name, &value, expected, expected);
}

int CjsonValidate::getAttributeDouble(const cJSON* object, const char* name, double* out) {
    const cJSON* member = nullptr;
    const int result = find_typed(object, name, cJSON_IsNumber, &member);
    if (result == kValid) {
        *out = member->valuedouble;
    }
    return result;
}

int CjsonValidate::getAttributeDouble(const cJSON* object, const char* name, double* out, double min,
                                      double max) {
    double value = 0;
    const int result = getAttributeDouble(object, name, &value);
    if (result != kValid) {
        return result;
    }
    if (!(value >= min && value <= max)) {  // so that a NaN fails
        return kInvalid;
    }
    *out = value;
    return kValid;
}

int CjsonValidate::validateAttributeDouble(const cJSON* object, const char* name, double expected) {
    double value = 0;
    return getAttributeDouble(object, name, &value, expected, expected);
}

int CjsonValidate::getAttributeBoolean(const cJSON* object, const char* name, bool* out) {
    const cJSON* member = nullptr;
    const int result = find_typed(object, name, cJSON_IsBool, &member);
    if (result == kValid) {
        *out = cJSON_IsTrue(member) != 0;
    }
    return result;
}

int CjsonValidate::validateAttributeBoolean(const cJSON* object, const char* name, bool expected) {
    bool value = false;
    const int result = getAttributeBoolean(object, name, &value);
    return result == kValid ? result_of(value == expected) : result;
}

int CjsonValidate::validateAttributeIncluded(const cJSON* object, const char* name) {
    return result_of(find_member(object, name) != nullptr);
}

int CjsonValidate::validateAttributeNull(const cJSON* object, const char* name) {
    const cJSON* member = nullptr;
    return find_typed(object, name, cJSON_IsNull, &member);
}

int CjsonValidate::validateIncluded(const cJSON* object, const char** names, int count) {
    for (int i = 0; i < count; ++i) {
        if (find_member(object, names[i]) == nullptr) {
            return kInvalid;
        }
    }
    return kValid;
}

int CjsonValidate::validateNotIncluded(const cJSON* object, const char** names, int count) {
    for (int i = 0; i < count; ++i) {
        if (find_member(object, names[i]) != nullptr) {
            return kInvalid;
        }
    }
    return kValid;
}

int CjsonValidate::compareCjsonObjects(const cJSON* a, const cJSON* b) {
    return a == nullptr || b == nullptr ? kAbsent : result_of(compareJSON(a, b));
}

int CjsonValidate::compareAttributes(const cJSON* a, const cJSON* b, const char* name) {
    if (a == nullptr || b == nullptr) {
        return kAbsent;
    }
    return result_of(compareJSON(find_member(a, name), find_member(b, name)));
}

bool CjsonValidate::compareJSON(const cJSON* a, const cJSON* b) {
    constexpr int kTypeMask = 0xff;  // the other bits say who owns the item's parts
    if (a == nullptr || b == nullptr || (a->type & kTypeMask) != (b->type & kTypeMask)) {
        return false;
    }
    switch (a->type & kTypeMask) {
        case cJSON_Number:
            return a->valueint == b->valueint && a->valuedouble == b->valuedouble;
        case cJSON_String:
            return std::strcmp(a->valuestring, b->valuestring) == 0;
        case cJSON_Array:
            return compare_arrays(a, b);
        case cJSON_Object:
            return compare_objects(a, b);
        default:
            return true;
    }
}
