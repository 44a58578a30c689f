// Includes every public header of the library.
#ifndef ZAM_ZAM_H
#define ZAM_ZAM_H

#include "zam/foundation/create_counted.h"
#include "zam/foundation/export.h"
#include "zam/foundation/exceptions.h"
#include "zam/foundation/ref.h"
#include "zam/foundation/types.h"
#include "zam/model/algorithm.h"
#include "zam/model/analyzer.h"
#include "zam/model/call_back.h"
#include "zam/model/children.h"
#include "zam/model/composite.h"
#include "zam/model/document_node.h"
#include "zam/model/iterator.h"
#include "zam/model/node.h"
#include "zam/model/node_factory.h"
#include "zam/model/node_id.h"
#include "zam/model/representation.h"
#include "zam/model/transformer.h"
#include "zam/model/vector_iterator.h"
#include "zam/model/visitor.h"

#endif
