/* Records, enumerations and status names that pass between a snapshot framework and its providers.
 *
 * C11 and C++20; includes only the C library. All records are plain data with a fixed layout (x86-64, LP64), pinned by
 * the assertions at the end. Each field names its writer: F the framework (host), P the provider, R the runtime
 * (libznfi). Text is NUL-terminated and in the encoding of the host's file names; nobody re-encodes it. Unless a field
 * says otherwise, what a record points to belongs to the record's writer and outlives the call that it is passed to.
 */
#ifndef ZFI_TYPES_H
#define ZFI_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes: the result of every entry point ------------------------------------------------------------- */
enum {
    ZFI_OK = 0,                      /* done; from claim: not mine */
    ZFI_ERR_DELAYED_INIT = 1,        /* the provider's delayed initialisation failed; the operation was not called */
    ZFI_ERR_NOT_SUPPORTED = 2,       /* the provider does not implement the operation */
    ZFI_ERR_INVALID_ARGUMENT = 3,    /* a required pointer is null, a count is out of range, node data is missing */
    ZFI_CLAIMED = 3,                 /* from claim only: the object is mine */
    ZFI_USE_SESSION = 4,             /* select, prepare, make: not handled per node, use the session form */
    ZFI_ERR_NO_MEMORY = 5,           /* an allocation failed */
    ZFI_ERR_FAILED = 6,              /* the operation failed or an exception was caught: see the error manager */
    ZFI_ERR_NO_VERSION_RECORD = 7,   /* init without a version record */
    ZFI_ERR_ALT_PATH_MISSING = 18,   /* the path of the alternate node cannot be reached */
    ZFI_ERR_BUSY = 32,               /* the device is busy or mounted elsewhere */
    ZFI_ERR_NO_OBJID = 1024,         /* an object id could not be made */
    ZFI_ERR_NO_SUBOBJECT = 1062,     /* the node has no sub-object */
    ZFI_ERR_RMDIR_FAILED = 1067,     /* a mount point could not be removed */
    ZFI_ERR_MOUNT_FAILED = 1069,     /* a mount failed */
    ZFI_ERR_UMOUNT_FAILED = 1070,    /* an unmount failed */
    ZFI_ERR_MOUNT_TABLE = 1083,      /* the mount table cannot be opened or read */
    ZFI_ERR_NOT_MOUNTED = 1084,      /* the mount table has no such mount point or device */
    ZFI_ERR_MOUNTED_ELSEWHERE = 1088 /* the device is mounted at another mount point */
};

/* ---- Object ids and nodes -------------------------------------------------------------------------------------- */

/* Flag of znfi_get_objid. */
enum {
    ZFI_OBJID_NAMED = 1,    /* an empty name makes no id: null is answered */
    ZFI_OBJID_SUBOBJECT = 3 /* any text makes an id, the empty one too */
};

/* An object id. Interned by the runtime: one name and flag, one address for as long as the runtime is loaded. */
typedef struct znfi_objid {
    char *name;      /* R: the object's name; first member by contract; never written by others */
    uint32_t length; /* R: bytes of the name, the terminator included */
    uint32_t flag;   /* R: the flag it was made with */
} znfi_objid;

struct zfi_quiescenode;

/* Bits of zfi_domain.state. */
#define ZFI_STATE_MADE 0x1u     /* P (frame of make): the node's snapshot has been made */
#define ZFI_STATE_OFFLINE 0x40u /* P: the node's file system was unmounted by disable_access */

/* What a provider writes, whole, into zfi_domain.characteristics. */
#define ZFI_CHARACTERISTICS 0x802u

/* A node of the framework's tree. F allocates it zeroed, sets objid, objids and objidCount, and owns the record; it
 * calls deinit_node before it drops it. */
typedef struct zfi_domain {
    znfi_objid *objid;               /* F: the node itself; its name is the mount point, path or device */
    znfi_objid **objids;             /* F: object-id list: [0] the node a request is for, [1] a requested alternate name */
    int32_t objidCount;              /* F: entries of objids; a null entry counts as missing */
    uint32_t characteristics;        /* P: ZFI_CHARACTERISTICS once initialised */
    uint32_t state;                  /* P and F: ZFI_STATE_ bits */
    uint32_t reserved0;              /* zero */
    char *displayName;               /* P: an alias of objid->name, never freed */
    struct zfi_quiescenode *quiesce; /* P: how to freeze the node, or null; released by deinit_node */
    void *quiesceNext;               /* P: cleared together with quiesce; reserved */
    int *fiTypeResult;               /* F: where supports_fitype writes its answer */
    void *privateData;               /* P: the node's private-data slot; null when none is attached */
} zfi_domain;

/* Quiesce record. Allocated with znfi_alloc_buf, its method with strdup; both released by the base deinit_node. */
typedef struct zfi_quiescenode {
    char *method;       /* P: "xfs_freeze" or "ufs_lockfs" */
    zfi_domain *domain; /* P: the node it belongs to */
    void *reserved;     /* P: null */
} zfi_quiescenode;

/* One node of a snapshot being split off; passed to preselect, select, prepare, make and is_ready. */
typedef struct zfi_splitnode {
    zfi_domain *domain;     /* F: the node */
    const char *splitType;  /* F: how the snapshot is split off; may be null */
    int32_t freezeBudgetMs; /* F: milliseconds that make may take while the file system is frozen; 0 means 10,000 */
    uint32_t flags;         /* F: zero */
    const char *sessionId;  /* F: the session that splits it; lets dispose find what was reserved but never completed */
} zfi_splitnode;

/* Singly linked list of nodes with their sub-object nodes; null next ends it. */
typedef struct zfi_node_subobj_list {
    zfi_domain *node;                  /* F: the node; its name is the mount point */
    zfi_domain **subobjs;              /* F: sub-object nodes; the name of [0] is the device; may be null */
    void *reserved;                    /* F: null */
    struct zfi_node_subobj_list *next; /* F */
} zfi_node_subobj_list;

/* The state that a framework persists for a node. */
typedef struct zfi_blob {
    uint64_t length;   /* P: bytes of data, the terminator included */
    char *data;        /* P: allocated with znfi_alloc_buf; F frees it with znfi_free_buf(data, length) */
    int32_t encoding;  /* P: ZFI_BLOB_TEXT */
    int32_t reserved;  /* zero */
} zfi_blob;

enum { ZFI_BLOB_TEXT = 1 }; /* the data is one NUL-terminated text */

/* How an alternate node was reached; read by deport_tree. */
typedef struct zfi_accessnode {
    char *hostName;   /* F: the host that imported the tree; may be null */
    int32_t imported; /* F: 0: nothing was imported here, deport_tree does nothing */
    int32_t reserved; /* zero */
} zfi_accessnode;

/* Result of a snapshot of one node: hands the snapshot object's name to the session of the layer above. */
typedef struct zfi_snapreplica_ele {
    znfi_objid *node;     /* F: the node that was split */
    znfi_objid *snapshot; /* F: its snapshot object, for example the snapshot device */
    char *setId;          /* F: snapshot set; may be null */
    uint32_t flags;       /* F: zero */
    uint32_t reserved;    /* zero */
} zfi_snapreplica_ele;

/* Host names, singly linked. */
typedef struct zfi_host_infn {
    char *hostName;             /* F; a null name is passed over */
    struct zfi_host_infn *next; /* F */
} zfi_host_infn;

/* ---- Start-up, information, messages ---------------------------------------------------------------------------- */

typedef struct zfi_version {
    uint16_t major;  /* P: 7 */
    uint16_t minor;  /* P: 0 */
    uint16_t update; /* P: 0 */
    uint16_t build;  /* P: 0 */
} zfi_version;

/* Severity of a message. */
typedef enum zfi_eseverity {
    ZFI_SEVERITY_NONE = 0,
    ZFI_SEVERITY_WARNING = 1,
    ZFI_SEVERITY_CRITICAL = 2,
    ZFI_SEVERITY_ERROR = 3
} zfi_eseverity;

struct zfi_init;

/* Receives every message at once, on the thread that reports it; the texts live only during the call. */
typedef void zfi_message_fn(struct zfi_init *init, const char *defaultText, const char *localText, int32_t severity);

/* Handed to init; must outlive fini. */
typedef struct zfi_init {
    zfi_message_fn *message; /* F: first member by contract; may be null */
    char **language;         /* F: where the caller's language ("de", "en_GB") stands; either pointer may be null */
    void *context;           /* F: for the callback's own use */
} zfi_init;

/* One provider in the answer of get_provider_info. Built by znfi_build_providerlist_node, released with
 * znfi_free_providerlist. */
typedef struct zfi_provider_list {
    struct zfi_provider_list *next; /* P */
    char *name;                     /* R: copy */
    uint64_t capabilities;          /* R: 16: the provider is a file-system layer */
    uint32_t kind;                  /* R: 2 */
    uint32_t reserved;              /* zero */
    zfi_version version;            /* R: interface version */
    char **fiTypes;                 /* R: copies of the type names, ended by a null pointer */
} zfi_provider_list;

/* One message in the answer of get_last_error, newest first. Owned by the runtime until del_last_error. */
typedef struct zfi_msg_info {
    struct zfi_msg_info *next; /* R: the next older message */
    char *id;                  /* R: message id */
    char *text;                /* R: the text in the caller's language, never empty */
    char **arguments;          /* R: the arguments as text, ended by a null pointer */
    char *sourceFile;          /* R */
    int32_t sourceLine;        /* R */
    int32_t severity;          /* R: zfi_eseverity */
} zfi_msg_info;

/* The enumerations below travel as 32-bit integers, and a provider must take any value that a framework passes: the last
 * enumerator of each only makes room for it. */
typedef enum zfi_intent {
    ZFI_INTENT_NONE = 0,
    ZFI_INTENT_READ = 1,
    ZFI_INTENT_DESTROY = 2, /* the alternate node is about to go: its path need not exist any more */
    ZFI_INTENT_WIDTH = 0x7fffffff
} zfi_intent;

typedef enum zfi_disposition {
    ZFI_DISPOSITION_KEEP = 0,
    ZFI_DISPOSITION_REMOVE = 1, /* what was made for the node goes with it */
    ZFI_DISPOSITION_WIDTH = 0x7fffffff
} zfi_disposition;

typedef enum zfi_op_providerstate {
    ZFI_STATE_RESTORE = 0,
    ZFI_STATE_SAVE = 1,
    ZFI_STATE_WIDTH = 0x7fffffff
} zfi_op_providerstate;

/* Operation of online. */
enum { ZFI_ONLINE_MOUNT = 1, ZFI_ONLINE_UMOUNT = 2 };

/* Flag of restore: only look whether it would be refused. */
#define ZFI_RESTORE_CHECK 0x1

/* What restore left of its objects. */
enum {
    ZFI_RESTORE_UNTOUCHED = 0, /* no byte of them was changed */
    ZFI_RESTORE_HALF = 1,      /* neither what they were nor their snapshots: to be restored again before they are used */
    ZFI_RESTORE_WHOLE = 2      /* equal to their snapshots, and on the disk */
};

/* Records that only pass through: the base operations do not look inside them. */
typedef struct zfi_node zfi_node;
typedef struct zfi_node_list zfi_node_list;
typedef struct zfi_assoc zfi_assoc;
typedef struct zfi_assoc_list zfi_assoc_list;
typedef struct zfi_group_node_list zfi_group_node_list;
typedef struct zfi_fim_list zfi_fim_list;
typedef struct zfi_host_node_list zfi_host_node_list;
typedef struct zfi_enclosure_node_list zfi_enclosure_node_list;
typedef struct zfi_pgn_node_list zfi_pgn_node_list;
typedef struct zfi_attributes zfi_attributes;
typedef struct zfi_confspec zfi_confspec;
typedef struct zfi_resource zfi_resource;
typedef struct zfi_bkupset zfi_bkupset;
typedef struct TrieNode_ TrieNode_;

#ifdef __cplusplus
}
#define ZFI_PIN static_assert
#else
#define ZFI_PIN _Static_assert
#endif

ZFI_PIN(sizeof(znfi_objid) == 16 && offsetof(znfi_objid, name) == 0, "znfi_objid");
ZFI_PIN(offsetof(znfi_objid, length) == 8 && offsetof(znfi_objid, flag) == 12, "znfi_objid");
ZFI_PIN(sizeof(zfi_domain) == 72 && offsetof(zfi_domain, objid) == 0 && offsetof(zfi_domain, objids) == 8, "zfi_domain");
ZFI_PIN(offsetof(zfi_domain, objidCount) == 16 && offsetof(zfi_domain, characteristics) == 20, "zfi_domain");
ZFI_PIN(offsetof(zfi_domain, state) == 24 && offsetof(zfi_domain, displayName) == 32, "zfi_domain");
ZFI_PIN(offsetof(zfi_domain, quiesce) == 40 && offsetof(zfi_domain, quiesceNext) == 48, "zfi_domain");
ZFI_PIN(offsetof(zfi_domain, fiTypeResult) == 56 && offsetof(zfi_domain, privateData) == 64, "zfi_domain");
ZFI_PIN(sizeof(zfi_quiescenode) == 24 && offsetof(zfi_quiescenode, method) == 0, "zfi_quiescenode");
ZFI_PIN(offsetof(zfi_quiescenode, domain) == 8 && offsetof(zfi_quiescenode, reserved) == 16, "zfi_quiescenode");
ZFI_PIN(sizeof(zfi_splitnode) == 32 && offsetof(zfi_splitnode, domain) == 0, "zfi_splitnode");
ZFI_PIN(offsetof(zfi_splitnode, splitType) == 8 && offsetof(zfi_splitnode, freezeBudgetMs) == 16, "zfi_splitnode");
ZFI_PIN(offsetof(zfi_splitnode, flags) == 20 && offsetof(zfi_splitnode, sessionId) == 24, "zfi_splitnode");
ZFI_PIN(sizeof(zfi_node_subobj_list) == 32 && offsetof(zfi_node_subobj_list, node) == 0, "zfi_node_subobj_list");
ZFI_PIN(offsetof(zfi_node_subobj_list, subobjs) == 8 && offsetof(zfi_node_subobj_list, reserved) == 16 &&
            offsetof(zfi_node_subobj_list, next) == 24,
        "zfi_node_subobj_list");
ZFI_PIN(sizeof(zfi_blob) == 24 && offsetof(zfi_blob, length) == 0 && offsetof(zfi_blob, data) == 8 &&
            offsetof(zfi_blob, encoding) == 16,
        "zfi_blob");
ZFI_PIN(sizeof(zfi_accessnode) == 16 && offsetof(zfi_accessnode, imported) == 8, "zfi_accessnode");
ZFI_PIN(sizeof(zfi_snapreplica_ele) == 32 && offsetof(zfi_snapreplica_ele, node) == 0 &&
            offsetof(zfi_snapreplica_ele, snapshot) == 8 && offsetof(zfi_snapreplica_ele, setId) == 16,
        "zfi_snapreplica_ele");
ZFI_PIN(sizeof(zfi_host_infn) == 16 && offsetof(zfi_host_infn, next) == 8, "zfi_host_infn");
ZFI_PIN(sizeof(zfi_version) == 8 && offsetof(zfi_version, build) == 6, "zfi_version");
ZFI_PIN(sizeof(zfi_init) == 24 && offsetof(zfi_init, message) == 0 && offsetof(zfi_init, language) == 8, "zfi_init");
ZFI_PIN(sizeof(zfi_provider_list) == 48 && offsetof(zfi_provider_list, next) == 0 &&
            offsetof(zfi_provider_list, name) == 8 && offsetof(zfi_provider_list, capabilities) == 16 &&
            offsetof(zfi_provider_list, kind) == 24 && offsetof(zfi_provider_list, version) == 32 &&
            offsetof(zfi_provider_list, fiTypes) == 40,
        "zfi_provider_list");
ZFI_PIN(sizeof(zfi_msg_info) == 48 && offsetof(zfi_msg_info, next) == 0 && offsetof(zfi_msg_info, id) == 8 &&
            offsetof(zfi_msg_info, text) == 16 && offsetof(zfi_msg_info, arguments) == 24 &&
            offsetof(zfi_msg_info, sourceFile) == 32 && offsetof(zfi_msg_info, sourceLine) == 40 &&
            offsetof(zfi_msg_info, severity) == 44,
        "zfi_msg_info");
ZFI_PIN(sizeof(zfi_intent) == 4 && sizeof(zfi_disposition) == 4 && sizeof(zfi_op_providerstate) == 4, "enumerations");

#endif
