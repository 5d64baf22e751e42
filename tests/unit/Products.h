#pragma once

#include "Tables.h"

// Each product with the name of its application and of the file of its two statements, in the order
// of the index.
inline const struct {
    const char* applicationName;
    const char* file;
    const ProductRecord& record;
} PRODUCTS[] = {
    {"Adobe InCopy 2020", "adobe-incopy-2020", INCOPYCC2020MAC},
    {"Adobe InCopy 2020 Win64", "adobe-incopy-2020-win64", INCOPYCC2020WIN64},
    {"Adobe InCopy CC 2019", "adobe-incopy-cc-2019", INCOPYCC2019MAC},
    {"Adobe InCopy CC 2019 Win64", "adobe-incopy-cc-2019-win64", INCOPYCC2019WIN64},
    {"Adobe InDesign 2020", "adobe-indesign-2020", INDESIGNCC2020MAC},
    {"Adobe InDesign 2020 Win64", "adobe-indesign-2020-win64", INDESIGNCC2020WIN64},
    {"Adobe InDesign CC 2019", "adobe-indesign-cc-2019", INDESIGNCC2019MAC},
    {"Adobe InDesign CC 2019 Win64", "adobe-indesign-cc-2019-win64", INDESIGNCC2019WIN64},
};
