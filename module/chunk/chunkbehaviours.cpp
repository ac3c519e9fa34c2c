#include "chunk/chunkbehaviours.h"

#include "chunk/addactionrequestsbehaviour.h"
#include "chunk/addmatchingitemsbehaviour.h"
#include "chunk/addmessagesbehaviour.h"
#include "chunk/carddocument.h"
#include "chunk/newcontextbehaviour.h"
#include "chunk/removeattachmentsbehaviour.h"
#include "chunk/rpccreatecontextbehaviour.h"
#include "chunk/rpcdeletecontextbehaviour.h"
#include "chunk/rpcgetfilebehaviour.h"
#include "chunk/rpcsetcontextbehaviour.h"
#include "chunk/rpcupdatecontextbehaviour.h"
#include "chunk/writecardtoxmlbehaviour.h"
#include "chunk/writefiletocontextbehaviour.h"
#include "chunk/writevekatoxmlbehaviour.h"

std::vector<std::unique_ptr<ChunkBehaviour>> chunkBehaviours(CardNumberMap *cards,
                                                             const HostHandle *host,
                                                             ContextService *contexts,
                                                             MessageService *messages)
{
    std::vector<std::unique_ptr<ChunkBehaviour>> list;
    if (configuredXmlDirectory()) {
        list.push_back(std::make_unique<WriteCardToXmlBehaviour>());
        list.push_back(std::make_unique<WriteVekaToXmlBehaviour>(cards));
    }
    list.push_back(std::make_unique<WriteFileToContextBehaviour>(contexts));
    list.push_back(std::make_unique<RpcCreateContextBehaviour>(host, contexts));
    list.push_back(std::make_unique<RpcDeleteContextBehaviour>(host, contexts));
    list.push_back(std::make_unique<RpcGetFileBehaviour>(host, contexts));
    list.push_back(std::make_unique<RpcSetContextBehaviour>(host, contexts));
    list.push_back(std::make_unique<RpcUpdateContextBehaviour>(host, contexts));
    list.push_back(std::make_unique<AddMatchingItemsBehaviour>(contexts));
    list.push_back(std::make_unique<AddMessagesBehaviour>(messages));
    list.push_back(std::make_unique<AddActionRequestsBehaviour>(contexts));
    list.push_back(std::make_unique<RemoveAttachmentsBehaviour>(contexts));
    list.push_back(std::make_unique<NewContextBehaviour>(contexts));
    return list;
}
