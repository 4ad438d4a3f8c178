// Ormavec: read, change and write ASCII DXF drawings. Hosts include this one
// header; it exposes the public classes and records of the model.
#pragma once

#include "collections/array_list.h"
#include "collections/interfaces.h"
#include "collections/variant.h"
#include "diagnostics/call_log.h"
#include "document/blocks.h"
#include "document/document.h"
#include "document/entities.h"
#include "document/header.h"
#include "document/save_context.h"
#include "document/tables.h"
#include "entities/collections.h"
#include "entities/records.h"
#include "io/error.h"
#include "io/reader.h"
#include "io/text.h"
#include "io/writer.h"
#include "tables/symbol_tables.h"
