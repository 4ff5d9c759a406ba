// BSON 1.1, the engine's binary form of structured values: a packer and an unpacker that stream,
// and a tree that owns its values.
//
//     orlo::BsonPacker packer;
//     packer << orlo::BsonMapSize(2) << "name" << "intro" << "cuts" << std::vector<int>{3, 8};
//     Send(packer.Bytes());
//
//     orlo::BsonUnpacker unpacker(received);
//     orlo::BsonMapSize members;
//     std::string key, name;
//     std::vector<int> cuts;
//     if (unpacker >> members >> key >> name >> key >> cuts) Use(name, cuts);
//
// The types are double, string, document, array, binary of subtype 0, bool, date and time, null and
// the integers of 32 and 64 bits. Maps travel as documents, tuples as arrays.
#pragma once

#include "orlo/bson_box.h"       // IWYU pragma: export
#include "orlo/bson_packer.h"    // IWYU pragma: export
#include "orlo/bson_types.h"     // IWYU pragma: export
#include "orlo/bson_unpacker.h"  // IWYU pragma: export
