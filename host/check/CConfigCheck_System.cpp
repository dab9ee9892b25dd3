#include "FileName.h"
#include "host/check/CConfigCheck.h"
#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <map>

// Checks across instances and jobs: addresses and ports, and ids, names and data points that are used twice.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::array<const char*, 4> g_vecpQuantity = {"frequency", "magnitude", "damping-ratio", "degree-of-exposure"};

std::string Quoted(const std::string& p_strText)
{
    return '"' + p_strText + '"';
}

/// Whether the text looks like an IP address but is invalid. Such a text cannot be a host name either.
bool IsBrokenAddress(const std::string& p_strAddr)
{
    boost::system::error_code ec;
    if (p_strAddr.find(':') != std::string::npos)
        boost::asio::ip::make_address_v6(p_strAddr, ec);
    else if (p_strAddr.find_first_not_of("0123456789.") == std::string::npos &&
             std::count(p_strAddr.begin(), p_strAddr.end(), '.') >= 3)
        boost::asio::ip::make_address_v4(p_strAddr, ec);
    return static_cast<bool>(ec);
}

/// The job's part of the names of its result files.
std::string FilePart(const std::string& p_strJob)
{
    return FileNameForResult(L"c:\\" + WideText(p_strJob)).filename().string();
}

/// @return the line where p_key first occurred; 0 if this is the first time, and p_nLine is remembered.
template <class TKey>
long EarlierLine(std::map<TKey, long>& r_mapLine, const TKey& p_key, long p_nLine)
{
    const auto [it, bNew] = r_mapLine.emplace(p_key, p_nLine);
    return bNew ? 0 : it->second;
}
} // namespace

void CConfigCheck::CheckServer()
{
    const CVDS& vds = m_pConfig->VDS();
    const auto fnCheck = [this](long p_nLine, const std::string& p_strElement, const std::string& p_strAddr)
    {
        if (IsBrokenAddress(p_strAddr))
            AddFault(p_nLine, p_strElement, Quoted(p_strAddr) + " is not a valid address",
                     "four numbers from 0 to 255, an IPv6 address or the name of a machine");
    };
    fnCheck(vds.Line(), "VDS", vds.IPAddr());
    for (const CStream& stream : vds.Synchrophasors().GetStreams())
        fnCheck(stream.Line(), "Stream " + Quoted(stream.Name()), stream.Host());
    for (const COutputStream& output : vds.Synchrophasors().GetOutputs())
    {
        fnCheck(output.Line(), "Output " + Quoted(output.Name()), output.Listen());
        if (output.Listen() == vds.IPAddr() &&
            (output.Port() == vds.Port() || output.Port() == vds.PortApplicationData()))
            AddFault(output.Line(), "Output " + Quoted(output.Name()),
                     "port " + std::to_string(output.Port()) + " is already used by VDS", "a port of its own");
    }
    if (vds.Port() == vds.PortApplicationData())
        AddFault(vds.Line(), "VDS", "Port and PortApplicationData are both " + std::to_string(vds.Port()),
                 "two different ports: the server listens on both");
    if (vds.Security().IsOn() || vds.IPAddr() == "localhost" || IsBrokenAddress(vds.IPAddr()))
        return;
    boost::system::error_code ec;
    const auto address = boost::asio::ip::make_address(vds.IPAddr(), ec);
    if (ec)
        Warn(vds.Line(), "VDS",
             "without Security " + Quoted(vds.IPAddr()) + " must be an address of this machine, such as 127.0.0.1");
    else if (!address.is_loopback())
        AddFault(vds.Line(), "VDS", Quoted(vds.IPAddr()) + " can be reached from other machines",
                 "element Security, or an address that only this machine can reach, such as 127.0.0.1");
}

void CConfigCheck::WarnOfIds()
{
    std::map<unsigned long, long> mapOma;
    std::map<unsigned long, long> mapJob;
    std::map<unsigned long, long> mapMode;
    const auto fnId = [this](std::map<unsigned long, long>& r_mapLine, const CFilePlace& p_place, unsigned long p_nId,
                             const std::string& p_strElement)
    {
        if (const long nLine = EarlierLine(r_mapLine, p_nId, p_place.Line()))
            Warn(p_place.Line(), p_strElement,
                 "Id " + std::to_string(p_nId) + " is already used on line " + std::to_string(nLine) +
                     ": the events of the two cannot be told apart");
    };
    for (const COMA& oma : m_pConfig->GetOMAs())
    {
        fnId(mapOma, oma, oma.Id(), "OMA " + Quoted(oma.Name()));
        for (const CJobConf& job : oma.GetJobs())
        {
            const std::string strJob = "Job " + Quoted(job.Name());
            fnId(mapJob, job, job.Id(), strJob);
            for (const OMA::CPSMode& mode : job.PSModes())
                fnId(mapMode, mode, mode.Id(), "PSMode " + std::to_string(mode.Id()) + " of " + strJob);
        }
    }
}

void CConfigCheck::WarnOfNames()
{
    std::map<std::string, long> mapLine;
    for (const COMA& oma : m_pConfig->GetOMAs())
        for (const CJobConf& job : oma.GetJobs())
        {
            const std::string& strName = job.Name();
            const std::string strFile = FilePart(strName);
            const std::string strJob = "Job " + Quoted(strName);
            if (strFile != strName || strName.find("..") != std::string::npos)
                Warn(job.Line(), strJob,
                     "the name is part of file names, where it becomes " + Quoted(strFile) +
                         ": expected no \"/\", \"\\\" or \"..\" in it");
            if (const long nLine = EarlierLine(mapLine, strFile, job.Line()))
                Warn(job.Line(), strJob,
                     "the name is already used on line " + std::to_string(nLine) +
                         ", or gives the same file names: the two overwrite each other's result files");
        }
}

void CConfigCheck::WarnOfDatapoints()
{
    std::map<unsigned long, std::string> mapInput; // data point -> its user
    for (const CStream& stream : m_pConfig->VDS().Synchrophasors().GetStreams())
        for (const CStreamPhasor& phasor : stream)
            mapInput.emplace(phasor.Datapoint(), "Stream " + Quoted(stream.Name()));
    for (const COMA& oma : m_pConfig->GetOMAs())
        for (const CJobConf& job : oma.GetJobs())
            for (const OMA::CInputGroup& group : job.InputGroups())
                for (int ePhase = 0; ePhase < 3; ++ePhase)
                    if (const unsigned long nId = group.RefID(static_cast<ePhaseType>(ePhase)); nId != g_nNoRefId)
                        mapInput.emplace(nId, "Job " + Quoted(job.Name()));

    const std::vector<unsigned long> vecnId = m_pConfig->GetDatapoints().Ids(); // sorted
    std::map<unsigned long, long> mapOutput;
    const auto fnOutput = [&](const CFilePlace& p_place, const std::string& p_strElement, const std::string& p_strWhat,
                              unsigned long p_nId)
    {
        const std::string strOutput = p_strWhat + ' ' + std::to_string(p_nId);
        if (!std::binary_search(vecnId.begin(), vecnId.end(), p_nId))
            Warn(p_place.Line(), p_strElement,
                 strOutput + " is not a Datapoint of this file: nothing will be written to it");
        if (const auto it = mapInput.find(p_nId); it != mapInput.end())
            Warn(p_place.Line(), p_strElement, strOutput + " is also an input of " + it->second);
        if (const long nLine = EarlierLine(mapOutput, p_nId, p_place.Line()))
            Warn(p_place.Line(), p_strElement,
                 strOutput + " is already written by the element on line " + std::to_string(nLine) +
                     ": the values of both will alternate on one channel");
    };
    for (const COMA& oma : m_pConfig->GetOMAs())
        for (const CJobConf& job : oma.GetJobs())
        {
            const std::string strJob = "Job " + Quoted(job.Name());
            fnOutput(job, strJob, "OutputRefId", job.OutputRefId());
            for (const OMA::CPSMode& mode : job.PSModes())
                for (std::size_t eType = 0; eType < g_vecpQuantity.size(); ++eType)
                    fnOutput(mode, "PSMode " + std::to_string(mode.Id()) + " of " + strJob,
                             std::string("RefID of ") + g_vecpQuantity[eType],
                             mode.Outputs().RefID(static_cast<eOMAPhysType>(eType)));
        }
}
