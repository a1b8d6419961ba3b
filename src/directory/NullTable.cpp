#include "directory/ZephrinFunctions.h"

VariantTable ZephrinFunctions::MakeNullTable(int firstField, int lastField, int records)
{
    // Every cell of a new table is null; no records makes it one-dimensional.
    return VariantTable(firstField, lastField, records);
}
