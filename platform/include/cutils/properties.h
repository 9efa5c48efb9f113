// The platform's property store: short texts by name, shared by every process of the handset. The service reads what
// the system is (chip, USB mode) and sets what other parts of the system act upon. Any thread may call either function;
// neither keeps a pointer it was given.
#pragma once

// Sizes in bytes, each with the terminating zero.
#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

extern "C" {

// Copies the property `key` into `value`, an array of PROPERTY_VALUE_MAX bytes of the caller's, always terminated.
// A property that is unset, empty or cannot be read gives `default_value`, cut to fit; a null default gives an empty
// text. Returns the length of what was stored, 0 to PROPERTY_VALUE_MAX - 1. Does not fail and does not wait.
int property_get(const char *key, char *value, const char *default_value);

// Sets the property `key` to `value`; null is as good as empty. On return every process reads the new value.
// Returns 0; negative if the key is empty or either text does not fit its size, or if the store did not take it, and
// the property is then as it was. May wait for the store, for milliseconds.
int property_set(const char *key, const char *value);
}
