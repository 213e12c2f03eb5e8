// Every type that passes between a framework, the runtime and a provider, reachable from an exported function: their
// layouts and virtual tables are what the recorded interface holds.
#include "cfierror.h"
#include "cfierrormanager.h"
#include "cfiexecpipe.h"
#include "cfiformatoptionlist.h"
#include "cfimessage.h"
#include "cfimessagecatalog.h"
#include "cfiobjctlargs.h"
#include "cfipluginbase.h"
#include "cfiprivatedata.h"
#include "cfiprivatedatafactory.h"
#include "cfiproviderinfo.h"
#include "cfisession.h"
#include "cfitracelog.h"
#include "zfi_entry_points.h"

#define SURFACE extern "C" __attribute__((visibility("default"))) void

#define ZFI_ENTRY(name, parameters, method, delayed, rule) \
    SURFACE surface_##name(zfi_fn_##name*) {}
#include "zfi_entry_points.def"
#undef ZFI_ENTRY
SURFACE surface_fipgn_get_objid(zfi_fn_fipgn_get_objid*) {}

SURFACE surface_records(zfi_init*, zfi_splitnode*, zfi_quiescenode*, zfi_blob*, zfi_accessnode*, zfi_snapreplica_ele*,
                        zfi_host_infn*, zfi_provider_list*, zfi_msg_info*, zfi_node_subobj_list*) {}
SURFACE surface_plugin(CFiPluginBase&) {}
SURFACE surface_private_data(CFiPrivateData&, CFiPrivateDataFactory&, CFiPrivateDataManager&) {}
SURFACE surface_sessions(CFiSession&, CFiSessionManager&, CFiSplitNode&) {}
SURFACE surface_runner(CFiExecPipePosix&, EFiExecPipe&, ZfiExecPipeErrorRecord&) {}
SURFACE surface_errors(CFiError&, CFiUdidException&, CFiErrorManager&, CFiErrorHandler&) {}
SURFACE surface_messages(CFiIcuMessage&, CFiMessageCatalogManager&, CFiIcuMessageCatalogFactory&) {}
SURFACE surface_texts(CFiObjctlArgs&, CFiFormatOptionList&, CFiProviderInfo&, CFiProviderInfoListFactory&) {}
SURFACE surface_trace(CFiTraceLog&, CFiTraceLogFunction&) {}
