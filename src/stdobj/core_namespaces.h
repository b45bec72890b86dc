#pragma once

// The standard library of the language.
//
// This folder:
//
//   core_namespaces.h   what fills the namespaces `std` and `json`
//   arguments.h         reads the arguments of native functions
//   list_sort.h         std.sort
//   random_source.h     the generator behind std.random
//   core_*.cpp          the functions, a file for each group
//   json_methods.h      the methods of json; those of string and buffer are in *_methods.cpp
//
// Every interpreter fills a tree of its own, so what a function captures here belongs to one
// interpreter. Script thread.

class tvr_namespace;

void tvr_fill_std_output(tvr_namespace& std);  // print, log, warn, error, raise
void tvr_fill_std_values(tvr_namespace& std);  // int, float, bool, type, instanceof, size, sort ...
void tvr_fill_std_host(tvr_namespace& std);    // millis, time, wait, exit, args, env ...
void tvr_fill_std_classes(tvr_namespace& std);  // json, string, buffer, threading
void tvr_fill_std_binary(tvr_namespace& std);   // to_binary, from_binary, as_binary
void tvr_fill_std_math(tvr_namespace& math);
void tvr_fill_std_random(tvr_namespace& random);
void tvr_fill_std_file(tvr_namespace& file);
void tvr_fill_json(tvr_namespace& json);  // bool
